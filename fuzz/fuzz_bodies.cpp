// SPDX-License-Identifier: MIT
// Message bodies, frames and fragments read from any bytes, and what was read written and read again.
#include "communication/monitormessage.h"
#include "communication/onboardmessage.h"
#include "communication/payloadmessage.h"
#include "support/fuzzcheck.h"
#include "support/inputbytes.h"

#include <QVector>

namespace {

constexpr int MaxString = 255;

template <class Body>
Body read(const QByteArray &bytes)
{
    QDataStream stream(bytes);
    stream.setByteOrder(QDataStream::LittleEndian);
    Body body{};
    stream >> body;
    return body;
}

template <class Body>
QByteArray written(const Body &body)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << body;
    return bytes;
}

bool survivesItsLengthByte(const QString &string)
{
    return string.toUtf8().size() <= MaxString;
}

void checkSetting(const QByteArray &bytes)
{
    const auto body = read<SettingHeader>(bytes);
    if (!survivesItsLengthByte(body.string1) || !survivesItsLengthByte(body.string2) ||
        !survivesItsLengthByte(body.string3))
        return; // what is no UTF-8 grows when it is read
    const auto again = read<SettingHeader>(written(body));
    fuzzCheck(again.string1 == body.string1 && again.string2 == body.string2 && again.string3 == body.string3,
              "a setting is read as it was written");
}

void checkGrasshopper(const QByteArray &bytes)
{
    const QByteArray out = written(read<GrasshopperHeader>(bytes));
    fuzzCheck(out.size() == 22, "22 bytes");
    fuzzCheck(bytes.size() < 20 || out.left(12) == bytes.left(12), "the numbers in front of the two bytes");
    fuzzCheck(bytes.size() < 20 || out.mid(14) == bytes.mid(12, 8), "the numbers behind the two bytes");
}

void checkSizes(InputBytes input)
{
    VehicleStateHeader vehicle;
    vehicle.double1 = input.value<double>();
    vehicle.float4 = input.value<float>();
    fuzzCheck(written(vehicle).size() == 40, "40 bytes");
    fuzzCheck(written(AltimeterStatus{input.value<float>(), input.byte()}).size() == 5, "5 bytes");
    TerrainFollowingStatusHeader terrain;
    terrain.double1 = input.value<double>();
    fuzzCheck(written(terrain).size() == 34, "34 bytes");
    const QByteArray samples = input.rest();
    fuzzCheck(written(GprTrace{{}, samples}).size() == 6 + 4 + samples.size(), "header, count, samples");
}

void checkFrame(const QByteArray &bytes)
{
    OnboardMessage frame(bytes);
    const bool whole = bytes.size() >= 2 && bytes.size() >= 2 + static_cast<quint8>(bytes[1]);
    fuzzCheck(frame.valid == whole, "valid when the announced body is there");
    fuzzCheck((frame.data != nullptr) == whole, "a body when valid");
    if (whole)
        fuzzCheck(frame.toByteArray().left(2 + frame.length) == bytes.left(2 + frame.length),
                  "goes out as it came in");
}

void checkSplit(InputBytes input)
{
    const auto maximum = input.value<quint16>();
    const CompletePayload payload{input.value<quint16>(), MessageId{input.byte()}, PayloadId{input.byte()},
                                  input.rest()};
    QByteArray together;
    for (const PayloadMessage &fragment : PayloadMessage::splitDataBlock(payload, maximum)) {
        fuzzCheck(fragment.header.offset == together.size(), "one after the other");
        fuzzCheck(maximum < 8 || fragment.data.size() + 8 <= maximum, "not above the maximum");
        fuzzCheck(written(read<PayloadMessage>(written(fragment))) == written(fragment),
                  "fragments read back");
        together += fragment.data;
    }
    fuzzCheck(maximum == 8 || together == payload.data.left(payload.data.size() % 65536),
              "all of the payload");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size)
{
    InputBytes input(data, size);
    const quint8 which = input.byte();
    const InputBytes numbers = input;
    const QByteArray bytes = input.rest();
    if (which == 0)
        checkSetting(bytes);
    else if (which == 1)
        checkGrasshopper(bytes);
    else if (which == 2)
        checkSizes(numbers);
    else if (which == 3)
        checkFrame(bytes);
    else if (which == 4)
        checkSplit(numbers);
    else if (which == 5)
        read<ObstacleAvoidanceHeader>(bytes);
    else
        read<ConfigureTerrainFollowingHeader>(bytes);
    return 0;
}
