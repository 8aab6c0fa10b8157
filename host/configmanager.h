#pragma once

#include <QString>

namespace canservice {

/// The host's configuration of its plug-ins.
class Q_DECL_EXPORT ConfigManager
{
public:
    static ConfigManager* instance();

    /// The full path of the plug-in that the host has loaded.
    QString getPluginFullPath();
};

} // namespace canservice
