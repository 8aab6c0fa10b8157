#include "canbusmanager.h"
#include "configmanager.h"
#include "hostsetup.h"
#include "languages.h"
#include "note.h"
#include "settings.h"
#include "translator.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QSettings>
#include <QTranslator>

QStringList languages()
{
    QStringList names;
    for (const QFileInfo& file : QDir(":/translations").entryInfoList())
        names.append(file.baseName());
    return names;
}

void selectLanguage(const QString& language)
{
    auto* translator = new QTranslator(QCoreApplication::instance());
    translator->load(":/translations/" + language + ".qm");
    QCoreApplication::installTranslator(translator);
}

// Texts are kept, since the plug-in asks again and again and the language stays.
QString Translator::translate(int id)
{
    static QHash<int, QString> texts;
    QString& text = texts[id];
    if (text.isNull()) {
        const QByteArray key = QByteArray::number(id);
        text = qtTrId(key.constData());
        if (text == QLatin1String(key))
            text.prepend('#');
    }
    return text;
}

int CanBusManager::getCarModelId()
{
    return hostSetup().carModelId;
}

int CanBusManager::getHwdCarModelIndex()
{
    return hostSetup().carModelIndex;
}

QString canservice::ConfigManager::getPluginFullPath()
{
    return hostSetup().pluginPath;
}

// What is missing or no number reads as 0. The flag has no meaning on the bench.
int mem::SettingsExe::getValue(QString key, QString file, bool)
{
    const QString path = QDir::cleanPath(hostSetup().settingsRoot + '/' + file);
    const QSettings settings(path, QSettings::IniFormat);
    bool isNumber = false;
    const int value = settings.value(key).toInt(&isNumber);
    if (!settings.contains(key))
        note(QString("no %1 in %2, reading 0; --settings-root names another tree").arg(key, path));
    else if (!isNumber)
        note(QString("%1 in %2 is no number, reading 0").arg(key, path));
    return value;
}
