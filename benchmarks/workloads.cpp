#include "workloads.h"

#include "description.h"
#include "idealparser.h"
#include "nullhost.h"

#include <log.h>

#include <QMetaEnum>
#include <QTimer>

#include <unistd.h>

namespace {

NullHost& host()
{
    return NullHost::instance();
}

void receive(const QByteArray& chunk)
{
    emit host().port->read(chunk);
}

// Each frame type with two payloads that differ in what the decoder reads; one of the protocol's description
// that is not listed has zeros and mixed bits. A key frame that repeats a press
// changes nothing; press and release change the key's state.
struct FrameType
{
    int type;
    QByteArray name;
    QByteArray payload;
    QByteArray changed;
};

std::vector<FrameType> frameTypes()
{
    const auto hex = [](const char* text) { return QByteArray::fromHex(text); };
    std::vector<FrameType> all{
        {0x1D, "front radar", hex("01020304"), hex("05040302")},
        {0x1E, "rear radar", hex("0102030400"), hex("0504030220")},
        {0x1F, "ignored type", hex("0102"), hex("0304")},
        {0x20, "steering-wheel key", hex("0501"), hex("0500")},
        {0x21, "trip", hex("00640032012c0100c8"), hex("006500330140010190")},
        {0x22, "instant fuel", hex("000064"), hex("010065")},
        {0x23, "fuel history", hex("0000640065006600670068"), hex("0100740075007600770078")},
        {0x24, "base info", hex("0000"), hex("4008")},
        {0x25, "tyres", hex("841718171800"), hex("841817181700")},
        {0x28, "climate", hex("c0450a0a000000850000a200"), hex("c0450b0a010000860000a200")},
        {0x2A, "panel key", hex("0501"), hex("0500")},
        {0x2F, "Bluetooth key", hex("0101"), hex("0100")},
        {0x30, "version", hex("56312e32"), hex("56312e33")},
        {0x32, "system info", hex("0000"), hex("0400")},
        {0x58, "seats", hex("1200340000"), hex("2100430000")},
        {0x81, "unknown type", hex("0102"), hex("0304")},
    };
    for (const protocol::Frame& frame : protocol::Description::standard().frames()) {
        const bool isListed = std::any_of(all.begin(), all.end(),
                                          [&](const FrameType& listed) { return listed.type == frame.type; });
        const int size = frame.length == protocol::Frame::AnyLength ? frame.bytesRead() : frame.length;
        if (!isListed && !frame.isIgnored && frame.direction == protocol::Direction::FromBox)
            all.push_back({frame.type, QByteArray(frame.title.data(), static_cast<int>(frame.title.size())),
                           QByteArray(size, '\x00'), QByteArray(size, '\x55')});
    }
    return all;
}

void addFrames(std::vector<Workload>& all)
{
    for (const FrameType& t : frameTypes()) {
        const QByteArray same = frameOf(t.type, t.payload);
        const QByteArray other = frameOf(t.type, t.changed);
        const std::string name =
            QByteArray("0x" + QByteArray::number(t.type, 16).toUpper() + ' ' + t.name).toStdString();
        all.push_back({"frame", name + ", unchanged", 1, same.size(), [same] { receive(same); }});
        all.push_back({"frame", name + ", changed", 2, 2 * same.size(), [=] {
                           receive(other);
                           receive(same);
                       }});
    }
}

struct Stream
{
    std::string name;
    QByteArray frames;
    int frameCount;
};

constexpr int StreamBytes = 20480; // a multiple of every chunk size, of 32 bytes and of 10

Stream streamOf(const std::string& name, const std::vector<QByteArray>& frames)
{
    Stream stream{name, {}, 0};
    while (stream.frames.size() < StreamBytes) {
        for (const QByteArray& f : frames)
            stream.frames += f;
        stream.frameCount += static_cast<int>(frames.size());
    }
    return stream;
}

void addStream(std::vector<Workload>& all, const Stream& stream, int chunkSize)
{
    std::vector<QByteArray> chunks;
    for (int i = 0; i < stream.frames.size(); i += chunkSize)
        chunks.push_back(stream.frames.mid(i, chunkSize));
    const std::string name = stream.name + ", chunks of " + std::to_string(chunkSize);
    all.push_back({"stream", name, stream.frameCount, stream.frames.size(), [chunks] {
                       for (const QByteArray& chunk : chunks)
                           receive(chunk);
                   }});
    all.push_back({"stream", "idealised parser, " + name, stream.frameCount, stream.frames.size(), [chunks] {
                       static int frames = 0;
                       static IdealParser parser([](int, const unsigned char*, int) { ++frames; });
                       for (const QByteArray& chunk : chunks)
                           parser.receive(chunk.constData(), chunk.size());
                   }});
}

void addStreams(std::vector<Workload>& all)
{
    const QByteArray two = frameOf(0x24, QByteArray(2, '\0'));
    const QByteArray six = frameOf(0x25, QByteArray::fromHex("841718171800"));
    const QByteArray twelve = frameOf(0x28, QByteArray(12, '\1'));
    for (const int chunk : {1, 10, 64, 4096})
        addStream(all, streamOf("payloads of 2, 6 and 12", {two, six, twelve}), chunk);
    // The same climate frame again and again changes nothing.
    addStream(all, streamOf("unchanged frames with payloads of 6", {frameOf(0x28, QByteArray(6, '\1'))}), 10);
}

// The getters, and the records that some of them fill.

template<typename R> void call(R (CanServiceBase::*getter)())
{
    (host().service().*getter)();
}

template<typename R, typename A> void call(R (CanServiceBase::*getter)(A&))
{
    static A record;
    (host().service().*getter)(record);
}

#define GETTER(name)                                                                                         \
    {                                                                                                        \
        "getter", #name, 1, 0, [] { call(&CanServiceBase::name); }                                           \
    }

void addGetters(std::vector<Workload>& all)
{
    // clang-format off
    const std::vector<Workload> getters{
        GETTER(version), GETTER(getSpeed), GETTER(getSpeedUnit), GETTER(getTemperatureStr),
        GETTER(getTemperature), GETTER(getTemperatureUnit), GETTER(getTimeAllMileage),
        GETTER(getOilAllMileage), GETTER(getVehicleData), GETTER(getEarGlonass), GETTER(getMileageUnits),
        GETTER(getRotate), GETTER(getCoolantTemp), GETTER(getCoolantTempUnit), GETTER(getDoorStatus),
        GETTER(isFrontDoorOpen), GETTER(isRearDoorOpen), GETTER(isLeftRearDoorOpen),
        GETTER(isRightRearDoorOpen), GETTER(isLeftFrontDoorOpen), GETTER(isRightFrontDoorOpen),
        GETTER(isRadarStatus), GETTER(getTireAlertType), GETTER(getTireStatusFR), GETTER(getTireStatusFL),
        GETTER(getTireStatusRL), GETTER(getTireStatusRR), GETTER(getTirePressureValueFR),
        GETTER(getTirePressureValueFL), GETTER(getTirePressureValueRL), GETTER(getTirePressureValueRR),
        GETTER(getTireUnit), GETTER(getBatteryVoltageValue), GETTER(getBatteryVoltageUnit),
        GETTER(getBatteryVoltageAlertType), GETTER(isPowerOff), GETTER(isPowerOffRear), GETTER(isRearClimate),
        GETTER(isAcMax), GETTER(isAc), GETTER(isInside), GETTER(isAuto), GETTER(isDual),
        GETTER(isRearDefrost), GETTER(isFrontDefrost), GETTER(getAcFrontLeftHeat),
        GETTER(getAcFrontRightHeat), GETTER(getAcRearLeftHeat), GETTER(getAcRearRightHeat),
        GETTER(isAcSwcHeat), GETTER(isAcGlassHeat), GETTER(isAirCareActive), GETTER(getAirConProfile),
        GETTER(getLeftVentilation), GETTER(getRightVentilation), GETTER(getAcWindMode),
        GETTER(getAcWindScale), GETTER(getAcWindModeRear), GETTER(getAcWindScaleRear),
        GETTER(getAcShowRequest), GETTER(getAcTemperature), GETTER(getAcRightTemperature),
        GETTER(getAcRearTemperature), GETTER(getAcTemperatureUnit), GETTER(getAcRightTemperatureUnit),
        GETTER(getAcAirClearStatus), GETTER(getManualClimateMode), GETTER(getDualControllableState),
        GETTER(getFrontRadarLeftDistance), GETTER(getFrontRadarMiddleLeftDistance),
        GETTER(getFrontRadarMiddleRightDistance), GETTER(getFrontRadarRightDistance),
        GETTER(getRearRadarLeftDistance), GETTER(getRearRadarMiddleLeftDistance),
        GETTER(getRearRadarMiddleRightDistance), GETTER(getRearRadarRightDistance),
        GETTER(getLeftRadarFrontDistance), GETTER(getLeftRadarMiddleFrontDistance),
        GETTER(getLeftRadarMiddleRearDistance), GETTER(getLeftRadarRearDistance),
        GETTER(getRightRadarFrontDistance), GETTER(getRightRadarMiddleFrontDistance),
        GETTER(getRightRadarMiddleRearDistance), GETTER(getRightRadarRearDistance), GETTER(getCameraMode),
        GETTER(getAmbientStatus), GETTER(getCarSettingData), GETTER(getDrivingData),
        GETTER(getDrivingDataTitle1), GETTER(getDrivingDataTitle2), GETTER(getDrivingDataTitle3),
        GETTER(getMaintenanceData), GETTER(getFuelConsumptionData), GETTER(getUnitData),
        GETTER(getOtherInfoData), GETTER(getCanDrivingPosition)
    };
    // clang-format on
    all.insert(all.end(), getters.begin(), getters.end());
}

constexpr int UnlistedCarModel = 255;
constexpr int VerticalCarModel = 153;

void addHostCalls(std::vector<Workload>& all)
{
    const auto add = [&all](const char* name, auto run) { all.push_back({"host", name, 1, 0, run}); };
    add("command: driving position", [] { host().service().setCanDrivingPosition(1); });
    add("command: climate key, vertical", [] {
        host().carModel = VerticalCarModel;
        host().service().sendAcKey(0, 1);
    });
    add("command: climate key, landscape", [] {
        host().carModel = UnlistedCarModel;
        host().service().sendAcKey(0, 1);
    });
    add("command: station and frequency", [] {
        static const QStringList texts{QStringLiteral("87.5"), QStringLiteral("STATION")};
        host().service().onRadioSourceInformation(QStringLiteral("FM1"), texts, 0);
    });
    add("car-model test: a seat level of an unlisted model", [] {
        host().carModel = UnlistedCarModel;
        host().service().getAcFrontLeftHeat();
    });
    add("start()", [] { host().service().start(); });
}

void addLimits(std::vector<Workload>& all)
{
    const auto add = [&all](const char* name, auto run) { all.push_back({"limit", name, 1, 0, run}); };
    add("one signal with one slot", [] { emit host().service().notifyCanbusStatus(3); });
    add("QTimer restart", [] {
        static QTimer timer;
        timer.start(30000);
    });
    add("acknowledgement call", [] {
        static const QByteArray byte = QByteArrayLiteral("\xFF");
        host().port->writeData(byte, true);
    });
    add("comparison of two payloads of 6 bytes", [] {
        static const QByteArray one(6, '\1');
        static const QByteArray other(6, '\1');
        host().signalCount += one == other;
    });
    // The capture stands for the service's member, which the line counts itself in.
    add("filtered-out log line", [m_hostCalls = 0]() mutable { CAN_DEBUG(host().signalCount); });
    add("log line, formatted and then dropped", [] {
        QMessageLogger(__FILE__, __LINE__, Q_FUNC_INFO).debug()
            << "[DBG]" << static_cast<long>(::gettid()) << Q_FUNC_INFO << __LINE__ << "--"
            << host().signalCount;
    });
    add("scan of the seat-level car models", [] {
        static const QMetaObject* const meta = host().service().metaObject();
        static const QMetaEnum models =
            meta->enumerator(meta->indexOfEnumerator("KelmoToyotaHeatingCoolingCarModle"));
        for (int i = 0, count = models.keyCount(); i < count; ++i) {
            if (models.value(i) == UnlistedCarModel)
                ++host().signalCount;
        }
    });
}

} // namespace

std::vector<Workload> workloads()
{
    host().recreate();
    host().connectSignals();
    std::vector<Workload> all;
    addStreams(all);
    addFrames(all);
    addHostCalls(all);
    addGetters(all);
    addLimits(all);
    // The last one: it leaves a service without slots.
    all.push_back({"host", "destruction, construction and the first frame written", 1, 0, [] {
                       host().recreate();
                       host().service().requsetDrinvingData();
                   }});
    return all;
}
