#pragma once

#include "hostcall.h"

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
// values. The values are streamed behind the macro, which stands in members of SimpleService: Qt hands the
// line to the host's message handler. Qt would drop a filtered line only after it was formatted, so the
// default category is asked first: a line that nobody sees costs that check and evaluates no value.
#define CAN_LOG(type, enabled, function)                                                                     \
    for (bool canLogOn =                                                                                     \
             Q_UNLIKELY(canservice::logCategory.enabled()) && canservice::enterHost(m_hostCalls);            \
         canLogOn; canLogOn = canservice::leaveHost(m_hostCalls))                                            \
    canservice::logLine(type, __FILE__, __LINE__, function)

/// An ordinary line.
#define CAN_DEBUG CAN_DEBUG_OF(Q_FUNC_INFO)
/// An ordinary line of a helper, under the signature of the operation that it works for.
#define CAN_DEBUG_OF(operation) CAN_LOG(QtDebugMsg, isDebugEnabled, operation)
/// The same for an error.
#define CAN_ERROR_OF(operation) CAN_LOG(QtCriticalMsg, isCriticalEnabled, operation)
