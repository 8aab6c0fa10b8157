#include "carmodels.h"

#include "canservicebase.h"
#include "description.h"
#include "hostsetup.h"
#include "serialline.h"
#include "words.h"

#include <QLoggingCategory>
#include <QMetaEnum>
#include <QPluginLoader>

#include <algorithm>
#include <memory>

namespace {

// A line with nobody at its other end.
class DeadLine : public SerialLine
{
public:
    bool open(const QString&, int) override { return false; }
    void close() override {}
    int write(const QByteArray&) override { return -1; }
};

// Whether the description's list @p name has the car model.
bool isListed(const char* name, int id)
{
    const auto& lists = protocol::Description::standard().carModels();
    return std::any_of(lists.begin(), lists.end(), [&](const protocol::CarModelList& list) {
        return list.name == name && std::find(list.ids.begin(), list.ids.end(), id) != list.ids.end();
    });
}

QString row(const QString& id, const QString& name, const CarModels::Effects& effects)
{
    return QString("%1  %2  %3  %4  %5")
        .arg(id, 3)
        .arg(name, -47)
        .arg(effects.climate, -9)
        .arg(effects.seats, -7)
        .arg(effects.wind);
}

} // namespace

CarModels::CarModels(const QMetaObject& service)
{
    for (int i = 0; i < service.enumeratorCount(); ++i) {
        const QMetaEnum models = service.enumerator(i);
        const bool areModels = QString(models.name()).endsWith("CarModle");
        for (int key = 0; areModels && key < models.keyCount(); ++key) {
            const QString name = models.key(key);
            m_ids.insert(name.toLower(), models.value(key));
            QString& shown = m_names[models.value(key)];
            if (shown.isEmpty() || shown.startsWith("HC_"))
                shown = name;
        }
    }
}

// An instance is made, for there is no other way to its class, and goes again; it is not started.
CarModels CarModels::ofPlugin(const QString& path)
{
    QPluginLoader loader(path);
    loader.setLoadHints(QLibrary::ResolveAllSymbolsHint);
    if (loader.metaData().value("IID").toString() != CanServiceBase_iid)
        return {};
    DeadLine line;
    hostSetup().line = &line;
    QLoggingCategory::setFilterRules("default.debug=false");
    const std::unique_ptr<QObject> service(loader.instance());
    QLoggingCategory::setFilterRules({});
    hostSetup().line = nullptr;
    return service ? CarModels(*service->metaObject()) : CarModels();
}

CarModels::Effects CarModels::effectsOf(int id)
{
    const bool hasKeys = !isListed("withoutClimateKeys", id);
    const bool isVertical = isListed("verticalClimate", id);
    const bool hasLevels = !isListed("withoutSeatLevels", id);
    const bool hasVentilation = !isListed("withoutVentilation", id);
    return {hasKeys ? isVertical ? "vertical" : "landscape" : "none",
            hasLevels ? hasVentilation ? "levels" : "heating" : "fixed",
            isListed("windModeInByte9", id) ? "byte 9" : "byte 1"};
}

std::optional<int> CarModels::idOf(const QString& name) const
{
    const auto at = m_ids.find(name.toLower());
    return at == m_ids.end() ? std::nullopt : std::optional(*at);
}

QString CarModels::describe(int id) const
{
    const QString name = m_names.value(id);
    const QString none = m_names.isEmpty() ? "" : QString(" (no name; %1)").arg(effectsOf(id).climate);
    return QString::number(id) + (name.isEmpty() ? none : ' ' + name);
}

QList<int> CarModels::find(const QString& word) const
{
    QList<int> ids;
    for (auto model = m_names.begin(); model != m_names.end(); ++model) {
        if (model->contains(word, Qt::CaseInsensitive) || QString::number(model.key()) == word)
            ids.append(model.key());
    }
    return ids;
}

QString CarModels::refusal(const QString& word) const
{
    const QString names = near(word).join(", ");
    return QString("no car model is called \"%1\"; %2")
        .arg(word, names.isEmpty() ? "--car-model list shows all" : "nearest: " + names);
}

// Those that have the word, or the nearest, or those with a part that is the nearest.
QStringList CarModels::near(const QString& word) const
{
    constexpr int LeastLetters = 3; // fewer stand in half of the names
    if (word.size() < LeastLetters)
        return {};
    const QStringList all = m_names.values();
    QStringList names = all.filter(word, Qt::CaseInsensitive);
    if (const QString name = nearest(word, all); names.isEmpty() && !name.isEmpty())
        names.append(name);
    if (const QString part = nearest(word, all.join('_').split('_')); names.isEmpty() && !part.isEmpty())
        names = all.filter(part);
    return names;
}

QStringList CarModels::table(const QList<int>& ids) const
{
    QStringList lines(row("id", "name", {"climate", "seats", "wind"}));
    for (int id : ids)
        lines.append(row(QString::number(id), m_names[id], effectsOf(id)));
    return lines;
}

QJsonObject CarModels::keysOf(int id) const
{
    const Effects effects = effectsOf(id);
    return {{"carModel", id},
            {"name", m_names[id]},
            {"climate", effects.climate},
            {"seats", effects.seats},
            {"wind", effects.wind}};
}
