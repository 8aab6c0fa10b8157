#pragma once

#include "hostcall.h"

#include <QDebug>
#include <QLoggingCategory>

namespace canservice {

/// Qt's category of the lines; looked up once, since it is asked for every line.
inline const QLoggingCategory& logCategory = *QLoggingCategory::defaultCategory();

/// A line of the default category with its first five parts: tag of @p type (QtDebugMsg or QtCriticalMsg),
/// kernel thread id, @p function, @p line, "--".
QDebug logLine(QtMsgType type, const char* file, int line, const char* function);

/// The whole line. Qt hands it to the host's message handler. Out of line, and its values by value: there are
/// many places that log, and few lines are seen.
template<typename... Values>
[[gnu::noinline, gnu::cold]] void log(int& hostCalls, QtMsgType type, const char* file, int line,
                                      const char* function, Values... values)
{
    const HostCall call(hostCalls);
    (logLine(type, file, line, function) << ... << values);
}

} // namespace canservice

// The one shape of a log line: tag, kernel thread id, signature of the logging function, source line, "--",
// values. The macro stands in members of SimpleService. Qt would drop a filtered line only after it was
// formatted, so the default category is asked first: a line that nobody sees costs that check and evaluates
// no value.
#define CAN_LOG(type, enabled, function, ...)                                                                \
    do {                                                                                                     \
        if (Q_UNLIKELY(canservice::logCategory.enabled()))                                                   \
            canservice::log(m_hostCalls, type, __FILE__, __LINE__, function, __VA_ARGS__);                   \
    } while (false)

/// An ordinary line.
#define CAN_DEBUG(...) CAN_DEBUG_OF(Q_FUNC_INFO, __VA_ARGS__)
/// An ordinary line of a helper, under the signature of the operation that it works for.
#define CAN_DEBUG_OF(operation, ...) CAN_LOG(QtDebugMsg, isDebugEnabled, operation, __VA_ARGS__)
/// The same for an error.
#define CAN_ERROR_OF(operation, ...) CAN_LOG(QtCriticalMsg, isCriticalEnabled, operation, __VA_ARGS__)
