#include "log.h"

#include <unistd.h>

namespace canservice {

QDebug logLine(QtMsgType type, const char* file, int line, const char* function)
{
    const QMessageLogger logger(file, line, function);
    QDebug stream = type == QtDebugMsg ? logger.debug() : logger.critical();
    stream << (type == QtDebugMsg ? "[DBG]" : "[ERR]") << static_cast<long>(::gettid()) << function << line
           << "--";
    return stream;
}

} // namespace canservice
