#pragma once

#include <QString>

namespace mem {

/// Reads values from the head unit's settings files.
class Q_DECL_EXPORT SettingsExe
{
public:
    /// The integer stored under @p key in the settings file @p file. What a missing key or file yields and
    /// what @p flag means is the host's affair; the service passes false.
    int getValue(QString key, QString file, bool flag);
};

/// Gives access to the settings store.
class Q_DECL_EXPORT SettingsUtil
{
public:
    static SettingsUtil* instance();

    /// The reader, owned by the settings store.
    SettingsExe* getSaver();
};

} // namespace mem
