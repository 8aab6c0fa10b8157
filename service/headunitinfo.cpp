// What the head unit tells the car: what it plays, as texts for the car's own display (one to four
// source-information frames for a call), and the time.

#include "log.h"
#include "payload.h"
#include "protocol.h"
#include "simpleservice.h"

namespace canservice {

namespace {

// The source-information frame: source code, info item, 30 bytes of contents, two zeros.
constexpr int ContentBytes = 30;
constexpr int StationBytes = 28; // the station text stands behind two zeros

constexpr unsigned char Radio = 0x81;
constexpr unsigned char RadioAm = 0x82;
constexpr unsigned char Media = 0x84;
constexpr unsigned char MediaOfType4 = 0x85;
constexpr unsigned char Aux = 0x87;

unsigned char radioSource(const QString& band)
{
    return band == QLatin1String("AM1") || band == QLatin1String("AM2") ? RadioAm : Radio;
}

QByteArray zeros(int count)
{
    return QByteArray(count, '\0');
}

/// Data of a frame, from its contents.
QByteArray sourceInformation(unsigned char source, int item, const QByteArray& contents)
{
    return bytesOf(source, item) + contents + zeros(2);
}

} // namespace

void SimpleService::onRadioSourceInformation(QString band, QStringList infoTexts, int sourceType)
{
    CAN_DEBUG("src type-->", sourceType);
    switch (sourceType) {
    case 0:
        onSendRadioInfo(band, infoTexts);
        onSendRadioFreq(band, infoTexts);
        break;
    case 1:
    case 2:
    case 3:
    case 4: {
        const unsigned char source = sourceType == 4 ? MediaOfType4 : Media;
        onSendMediaSong(source, infoTexts);
        onSendMediaSongName(source, infoTexts);
        onSendMediaSinger(source, infoTexts);
        onSendMediaAlbum(source, infoTexts);
        break;
    }
    case 5: {
        const QByteArray data = sourceInformation(Aux, 1, zeros(ContentBytes));
        sendMeterSet(data);
        CAN_DEBUG("AUX SRC --", data.size(), data.toHex());
        break;
    }
    }
}

QByteArray SimpleService::textField(const QString& text, int size, const char* operation)
{
    QByteArray field;
    for (int i = 0; i < text.size() && field.size() < size; ++i) {
        field.append(static_cast<char>(text.at(i).cell()));
        field.append(static_cast<char>(text.at(i).row()));
    }
    CAN_DEBUG_OF(operation, field.size());
    if (field.size() < size) {
        CAN_DEBUG_OF(operation, size - field.size());
        field.append(zeros(size - field.size()));
        CAN_DEBUG_OF(operation, field.size());
    }
    return field;
}

// QStringList::value() gives an empty text where the list is too short.

void SimpleService::onSendRadioInfo(QString band, QStringList infoTexts)
{
    const QByteArray station = zeros(2) + textField(infoTexts.value(1), StationBytes, Q_FUNC_INFO);
    const QByteArray data = sourceInformation(radioSource(band), 1, station);
    sendMeterSet(data);
    CAN_DEBUG("111111111", data.size(), data.toHex());
}

void SimpleService::onSendRadioFreq(QString band, QStringList infoTexts)
{
    const QByteArray data =
        sourceInformation(radioSource(band), 2, textField(infoTexts.value(0), ContentBytes, Q_FUNC_INFO));
    sendMeterSet(data);
    CAN_DEBUG("22222222", data.size(), data.toHex());
}

void SimpleService::onSendMediaSong(unsigned char sourceCode, QStringList)
{
    const QByteArray data = sourceInformation(sourceCode, 1, zeros(ContentBytes));
    sendMeterSet(data);
    CAN_DEBUG("111111111", data.size(), data.toHex());
}

void SimpleService::onSendMediaSongName(unsigned char sourceCode, QStringList infoTexts)
{
    const QByteArray data =
        sourceInformation(sourceCode, 2, textField(infoTexts.value(0), ContentBytes, Q_FUNC_INFO));
    sendMeterSet(data);
    CAN_DEBUG("22222222", data.size(), data.toHex());
}

void SimpleService::onSendMediaSinger(unsigned char sourceCode, QStringList infoTexts)
{
    const QByteArray data =
        sourceInformation(sourceCode, 3, textField(infoTexts.value(1), ContentBytes, Q_FUNC_INFO));
    sendMeterSet(data);
    CAN_DEBUG("33333333", data.size(), data.toHex());
}

void SimpleService::onSendMediaAlbum(unsigned char sourceCode, QStringList infoTexts)
{
    const QByteArray data =
        sourceInformation(sourceCode, 4, textField(infoTexts.value(2), ContentBytes, Q_FUNC_INFO));
    sendMeterSet(data);
    CAN_DEBUG("44444444", data.size(), data.toHex());
}

// The clock frame: hour, minute, and whether the clock shows 12 hours. The hour is cut to 8 bits.
GPSTimePacket SimpleService::GPSTimeSend(GPSTime& time)
{
    CAN_DEBUG("GPSTimeSend");
    const bool twelveHours = time.clockFormat == 0;
    const bool afternoon = twelveHours && time.meridiem == 3;
    const int hour = afternoon ? time.hour - 12 : time.hour;
    writeFrame(frame::Clock, bytesOf(hour, time.minute, twelveHours));
    return {0, 0, 1, 0, 0, 1, 1};
}

} // namespace canservice
