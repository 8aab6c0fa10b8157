#pragma once

#include <QJsonObject>
#include <QMap>
#include <QMetaObject>
#include <QStringList>

#include <optional>

/// The car models that a plug-in declares, in the enumerations of its class that end with "CarModle".
class CarModels
{
public:
    /// None are known.
    CarModels() = default;
    /// Those of a service's class.
    explicit CarModels(const QMetaObject& service);
    /// Those of the plug-in at @p path; none where it cannot be loaded.
    static CarModels ofPlugin(const QString& path);

    /// What a model changes for the head unit, as the description of the protocol has it.
    struct Effects
    {
        QString climate; ///< the form of the frames that climate keys are sent in; none where they are not
        QString seats;   ///< whether the levels of the seats come from the box, or are fixed
        QString wind;    ///< where the climate frame carries the front air distribution
    };
    static Effects effectsOf(int id);

    /// The name of each id. One that begins with HC_ is that of an id which has no other.
    const QMap<int, QString>& names() const { return m_names; }
    /// The id that @p name stands for, in any case, also one behind HC_.
    std::optional<int> idOf(const QString& name) const;
    /// The id with its name, or with what holds for one without a name.
    QString describe(int id) const;

    /// The ids of which the name has @p word, in any case, or that are it; all for the empty one.
    QList<int> find(const QString& word) const;
    /// What is wrong with @p word, which is no name, with the names that have it or are the nearest.
    QString refusal(const QString& word) const;

    /// The models with these ids and what they change, a line each, of 80 columns at most.
    QStringList table(const QList<int>& ids) const;
    /// The same of one, as the keys of an object.
    QJsonObject keysOf(int id) const;

private:
    QStringList near(const QString& word) const;

    QMap<int, QString> m_names;
    QMap<QString, int> m_ids; // by each name, in lower case
};
