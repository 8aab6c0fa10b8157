#include "operations.h"

#include "recordinghost.h"

#include <algorithm>
#include <tuple>
#include <type_traits>

namespace {

// Values as text.

QString text(const QString& value)
{
    return '"' + value + '"';
}

QString text(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

QString text(int value)
{
    return QString::number(value);
}

QString text(float value)
{
    return QString::number(static_cast<double>(value), 'g', 9);
}

template<typename T> QString listed(const T& values)
{
    QStringList texts;
    for (const auto& value : values)
        texts.append(text(value));
    return texts.join(QLatin1Char(' '));
}

QString text(const DrivingData& data)
{
    return listed(data.texts);
}

QString text(const FuelConsumptionData& data)
{
    return listed(data.texts);
}

QString text(const UnitData& data)
{
    return QStringList{listed(data.maxLevels), listed(data.curLevels), listed(data.curTexts)}.join(
        QLatin1String(" / "));
}

QString text(const OtherInfoData& d)
{
    const QStringList texts{d.text0, d.text1, d.text2, d.text3, d.text4, d.text5, d.text6, d.text7, d.text8};
    return listed(texts) + ' ' + text(static_cast<int>(d.otherFlag));
}

QString text(const CarSettingData& d)
{
    return listed(QList<int>{d.setting0, d.setting1, d.setting2, d.setting3, d.setting4}) + ' ' +
           text(QString::fromLatin1(d.setting5)) + ' ' +
           listed(QList<int>{d.setting6, d.setting7, d.setting8, d.setting9, d.setting10});
}

QString text(const GPSTimePacket& p)
{
    return listed(QList<int>{p.value0, p.value1, p.value2, p.value3, p.value4, p.value5, p.value6});
}

QString text(const VehicleMaintenanceData&)
{
    return {};
}

QString text(const QMap<QString, QString>& map)
{
    return listed(map.keys());
}

// Arguments from text. A record that the operation fills starts with values of its own making.

void parse(const QString& argument, int& value)
{
    value = argument.toInt();
}

void parse(const QString& argument, QString& value)
{
    value = argument;
}

void parse(const QString& argument, QStringList& value)
{
    value = argument.isEmpty() ? QStringList() : argument.split(QLatin1Char('|'));
}

void parse(const QString& argument, QByteArray& value)
{
    value = hex(argument);
}

void parse(const QString& argument, CameraData& value)
{
    const QStringList parts = argument.split(QLatin1Char('|'));
    value.touchX = parts.value(0).toInt();
    value.touchY = parts.value(1).toInt();
}

void parse(const QString& argument, GPSTime& value)
{
    const QStringList parts = argument.split(QLatin1Char('|'));
    value.hour = static_cast<quint8>(parts.value(0).toInt());
    value.minute = static_cast<quint8>(parts.value(1).toInt());
    value.clockFormat = static_cast<quint8>(parts.value(2).toInt());
    value.meridiem = static_cast<quint8>(parts.value(3).toInt());
}

template<typename Record> void parse(const QString&, Record&) {}

template<typename T>
constexpr bool isFilled =
    std::is_lvalue_reference_v<T> && !std::is_same_v<T, QByteArray&> && !std::is_same_v<T, GPSTime&>;

template<typename... A> constexpr bool areFilled = (isFilled<A> && ...);

template<typename R, typename... A, std::size_t... I>
QString call(CanServiceBase& service, R (CanServiceBase::*function)(A...), const QStringList& arguments,
             std::index_sequence<I...>)
{
    std::tuple<std::decay_t<A>...> values;
    (parse(arguments.value(int{I}), std::get<I>(values)), ...);
    QStringList results;
    if constexpr (std::is_void_v<R>)
        (service.*function)(std::get<I>(values)...);
    else
        results.append(text((service.*function)(std::get<I>(values)...)));
    if constexpr (sizeof...(A) > 0 && areFilled<A...>)
        (results.append(text(std::get<I>(values))), ...);
    return results.join(QLatin1String(" : "));
}

template<typename R, typename... A> Operation operation(const char* name, R (CanServiceBase::*function)(A...))
{
    const bool wrong = qgetenv("SABOTAGED_OPERATION") == name;
    const auto invoke = [=](CanServiceBase& service, const QStringList& arguments) {
        if (wrong && std::is_void_v<R>)
            return QStringLiteral("wrong");
        const QString answer = call(service, function, arguments, std::index_sequence_for<A...>());
        return wrong ? answer + " wrong" : answer;
    };
    return {QString::fromLatin1(name), !std::is_void_v<R> && areFilled<A...>, invoke};
}

} // namespace

const std::vector<Operation>& operations()
{
#define OPERATION(slot, name, signature) operation(#name, &CanServiceBase::name),
    static const std::vector<Operation> all{
#include "../abi/slots.inc"
    };
#undef OPERATION
    return all;
}

const Operation& operation(const QString& name)
{
    const auto& all = operations();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Operation& o) { return o.name == name; });
    if (found == all.end())
        qFatal("the host has no operation %s", qPrintable(name));
    return *found;
}

QStringList snapshot(CanServiceBase& service)
{
    QStringList lines;
    for (const Operation& o : operations()) {
        if (o.isGetter)
            lines.append(o.name + ' ' + o.call(service, {}));
    }
    return lines;
}

QStringList changes(const QStringList& before, const QStringList& after)
{
    QStringList lines;
    for (int i = 0; i < after.size(); ++i) {
        if (after.at(i) != before.at(i))
            lines.append(after.at(i));
    }
    return lines;
}
