#pragma once

#include <QDebug>
#include <QLoggingCategory>

namespace canservice {

/// Qt's category of the lines; looked up once, since it is asked for every line.
inline const QLoggingCategory& logCategory = *QLoggingCategory::defaultCategory();

/// A line of the default category with its first five parts: tag of @p type (QtDebugMsg or QtCriticalMsg),
/// kernel thread id, @p function, @p line, "--". Out of line: there are many places that log, and few lines
/// are seen.
QDebug logLine(QtMsgType type, const char* file, int line, const char* function);

} // namespace canservice

// The one shape of a log line: tag, kernel thread id, signature of the logging function, source line, "--",
// values. The values are streamed behind the macro. Qt would drop a filtered line only after it was
// formatted, so the default category is asked first: a line that nobody sees costs that check and evaluates
// no value.
#define CAN_LOG(type, enabled)                                                                               \
    for (bool canLogOn = Q_UNLIKELY(canservice::logCategory.enabled()); canLogOn; canLogOn = false)          \
    canservice::logLine(type, __FILE__, __LINE__, Q_FUNC_INFO)

/// An ordinary line.
#define CAN_DEBUG CAN_LOG(QtDebugMsg, isDebugEnabled)
/// An error.
#define CAN_ERROR CAN_LOG(QtCriticalMsg, isCriticalEnabled)
