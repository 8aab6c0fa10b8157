#pragma once

#include <canservicebase.h>

#include <QVariant>

#include <type_traits>

template<typename Signature> struct ResultOf;
template<typename R, typename... A> struct ResultOf<R(A...)>
{
    using Type = R;
};

/// What the operations of the StandIn do. It overrides those that take nothing; the others get a namesake.
class AnsweringStandIn : public CanServiceBase
{
public:
    QStringList calls;    ///< of commands, as in "sendAcKey(0, 1)"
    QStringList sources;  ///< each value that was asked for: an operation, behind a point a record's field
    QString moved;        ///< the source that answers otherwise than the others of its type
    QVariant movedAnswer; ///< what it answers, as a bool, an int, a double or a text

#define OPERATION(slot, name, signature)                                                                     \
    using CanServiceBase::name;                                                                              \
    ResultOf<signature>::Type name()                                                                         \
    {                                                                                                        \
        return answer<ResultOf<signature>::Type>(#name);                                                     \
    }
#include "../abi/slots.inc"
#undef OPERATION

protected:
    template<typename... A> int note(const char* name, const A&... arguments)
    {
        calls.append(QString(name) + '(' + QStringList{text(arguments)...}.join(", ") + ')');
        return 2;
    }

    template<typename T> T answer(const char* name)
    {
        if constexpr (std::is_void_v<T>) {
            note(name);
        } else {
            T value = T();
            give(name, value);
            return value;
        }
    }

    template<typename T> void give(const QString& source, T& value)
    {
        if constexpr (std::is_same_v<T, DrivingData> || std::is_same_v<T, FuelConsumptionData>) {
            for (QString& field : value.texts)
                give(QString("%1.%2").arg(source).arg(&field - value.texts), field);
        } else if constexpr (std::is_same_v<T, UnitData>) {
            give(source + ".max", value.maxLevels[0]);
            give(source + ".current", value.curLevels[0]);
            give(source + ".text", value.curTexts[0]);
        } else if constexpr (std::is_same_v<T, OtherInfoData>) {
            give(source + ".text6", value.text6);
            give(source + ".flag", value.otherFlag);
        } else if constexpr (std::is_same_v<T, CarSettingData>) {
            auto& [s0, s1, s2, s3, s4, s5, s6, s7, s8, s9, s10] = value;
            int i = 0;
            const auto next = [&](auto&... fields) {
                (give(QString("%1.%2").arg(source).arg(i++), fields), ...);
            };
            next(s0, s1, s2, s3, s4, s5, s6, s7, s8, s9, s10);
        } else if constexpr (std::is_same_v<T, QString> || std::is_same_v<T, QByteArray>) {
            tell(source, value, source.toLatin1(), (source + '!').toLatin1());
        } else if constexpr (std::is_arithmetic_v<T>) {
            constexpr bool isBool = std::is_same_v<T, bool>;
            tell(source, value, static_cast<T>(isBool ? 0 : 2.3), static_cast<T>(123.45));
        }
    }

private:
    template<typename T, typename V> void tell(const QString& source, T& value, V usual, V other)
    {
        sources.append(source);
        value = source == moved ? other : usual;
        if (source != moved)
            return;
        if constexpr (std::is_same_v<T, float>)
            movedAnswer = 123.45;
        else if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>)
            movedAnswer = static_cast<int>(value);
        else
            movedAnswer = QVariant(value).value<std::conditional_t<std::is_same_v<T, bool>, bool, QString>>();
    }

    static QString text(int value)
    {
        return QString::number(value);
    }
    static QString text(const QString& value)
    {
        return value;
    }
    static QString text(const QStringList& value)
    {
        return '[' + value.join(", ") + ']';
    }
    static QString text(const QByteArray& value)
    {
        return value.toHex().toUpper();
    }
    static QString text(const CameraData& at)
    {
        return QString("%1 %2").arg(at.touchX).arg(at.touchY);
    }
    static QString text(const GPSTime& t)
    {
        return QString("%1:%2 %3 %4").arg(t.hour).arg(t.minute).arg(t.clockFormat).arg(t.meridiem);
    }
};

/// Stands in for the plug-in: writes down each command with its arguments and answers it with 2, if at all,
/// and answers each question with a value that the test can move.
class StandIn : public AnsweringStandIn
{
public:
    int request(int a, int b) override { return note("request", a, b); }
    int getVehicleData(QMap<QString, QString>&) override { return 0; }
    int setSettings(int a, int b) override { return note("setSettings", a, b); }
    int sendAcKey(int a, int b) override { return note("sendAcKey", a, b); }
    int sendCarSettingKey(int a, int b) override { return note("sendCarSettingKey", a, b); }
    int sendCameraKey(int a, CameraData b) override { return note("sendCameraKey", a, b); }
    int getDrivingData(DrivingData& data) override { return give("getDrivingData", data), 0; }
    void setDrivingDataPage(int a) override { note("setDrivingDataPage", a); }
    int getFuelConsumptionData(FuelConsumptionData& d) override
    {
        return give("getFuelConsumptionData", d), 0;
    }
    int getUnitData(UnitData& data) override { return give("getUnitData", data), 0; }
    void setUnitCmd(int a) override { note("setUnitCmd", a); }
    int getOtherInfoData(OtherInfoData& data) override { return give("getOtherInfoData", data), 0; }
    void onRadioSourceInformation(QString a, QStringList b, int c) override
    {
        note("onRadioSourceInformation", a, b, c);
    }
    void setCanDrivingPosition(int a) override { note("setCanDrivingPosition", a); }
    GPSTimePacket GPSTimeSend(GPSTime& a) override { return note("GPSTimeSend", a), GPSTimePacket(); }
    int sendAnyData(QByteArray& a) override { return note("sendAnyData", a); }
};
