#pragma once

#include <QDebug>
#include <QLoggingCategory>

#include <unistd.h>

// The one shape of a log line: tag, kernel thread id, signature of the logging function, source line, "--",
// values. The values are streamed behind the macro. Qt would drop a filtered line only after it was
// formatted, so the default category is asked first: a line that nobody sees costs that check and evaluates
// no value.
#define CAN_LOG(level, enabled, tag)                                                                         \
    for (bool canLogOn = QLoggingCategory::defaultCategory()->enabled(); canLogOn; canLogOn = false)         \
    QMessageLogger(__FILE__, __LINE__, Q_FUNC_INFO).level()                                                  \
        << (tag) << static_cast<long>(::gettid()) << Q_FUNC_INFO << __LINE__ << "--"

/// An ordinary line.
#define CAN_DEBUG CAN_LOG(debug, isDebugEnabled, "[DBG]")
/// An error.
#define CAN_ERROR CAN_LOG(critical, isCriticalEnabled, "[ERR]")
