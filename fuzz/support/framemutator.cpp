// SPDX-License-Identifier: MIT
// A mutator that knows frames: most of what a plain one makes of a stream of MAVLink fails its checksum and
// goes no further than the parser.
#include "mavlink/mavlink.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t maxSize);

namespace {

using Bytes = std::vector<uint8_t>;
using Random = std::minstd_rand;

constexpr uint8_t Start2 = 0xFD;
constexpr size_t HeaderSize2 = 10;
constexpr size_t ChecksumSize = 2;
constexpr size_t SignatureSize = 13;
constexpr size_t ReadSizeByte = 1; // what stands before the stream

// Those that the plugin reads, and one of each other kind of fate.
constexpr uint32_t MessageIds[] = {0, 2, 24, 30, 33, 42, 77, 132, 248, 253, 230, 9999};
// Few, so that an input can hold several messages of one sender, and two autopilots.
constexpr uint8_t Systems[] = {1, 1, 1, 2, 255, 0};

size_t pick(Random &random, size_t count)
{
    return random() % count;
}

uint32_t messageIdAt(const uint8_t *frame)
{
    return frame[7] | (uint32_t{frame[8]} << 8) | (uint32_t{frame[9]} << 16);
}

/// The size of the MAVLink 2 frame that begins here, as its header has it; 0 if none does or if it is cut
/// short.
size_t frameSizeAt(const Bytes &stream, size_t start)
{
    if (stream[start] != Start2 || start + HeaderSize2 > stream.size())
        return 0;
    const size_t size = HeaderSize2 + stream[start + 1] + ChecksumSize +
                        ((stream[start + 2] & MAVLINK_IFLAG_SIGNED) != 0 ? SignatureSize : 0);
    return start + size <= stream.size() ? size : 0;
}

void repairChecksum(uint8_t *frame)
{
    const auto *entry = mavlink::mavlink_get_msg_entry(messageIdAt(frame));
    if (!entry)
        return;
    const uint16_t end = HeaderSize2 + frame[1];
    uint16_t crc = mavlink::crc_calculate(frame + 1, static_cast<uint16_t>(end - 1));
    mavlink::crc_accumulate(entry->crc_extra, &crc);
    std::memcpy(frame + end, &crc, sizeof crc);
}

/// Where the frames begin; calls `visit` for each.
template <class Visit>
std::vector<size_t> frames(Bytes &stream, Visit visit)
{
    std::vector<size_t> starts;
    for (size_t at = ReadSizeByte; at < stream.size();) {
        const size_t size = frameSizeAt(stream, at);
        if (size == 0) {
            ++at;
            continue;
        }
        starts.push_back(at);
        visit(stream.data() + at);
        at += size;
    }
    return starts;
}

void insertFrame(Bytes &stream, Random &random)
{
    const uint32_t id = MessageIds[pick(random, std::size(MessageIds))];
    const auto *entry = mavlink::mavlink_get_msg_entry(id);
    Bytes frame(HeaderSize2 + (entry ? entry->max_msg_len : 8) + ChecksumSize);
    const auto idByte = [id](int shift) { return static_cast<uint8_t>(id >> shift); };
    const uint8_t head[] = {Start2,    static_cast<uint8_t>(frame.size() - HeaderSize2 - ChecksumSize),
                            0,         0,
                            0,         Systems[pick(random, std::size(Systems))],
                            1,         idByte(0),
                            idByte(8), idByte(16)};
    std::copy(std::begin(head), std::end(head), frame.begin());
    for (size_t i = HeaderSize2; i < frame.size(); ++i)
        frame[i] = static_cast<uint8_t>(pick(random, 4) == 0 ? random() : pick(random, 14));
    repairChecksum(frame.data());
    const auto starts = frames(stream, [](uint8_t *) {});
    const size_t at = starts.empty() ? stream.size() : starts[pick(random, starts.size())];
    stream.insert(stream.begin() + static_cast<std::ptrdiff_t>(at), frame.begin(), frame.end());
}

void repeatFrame(Bytes &stream, Random &random)
{
    const auto starts = frames(stream, [](uint8_t *) {});
    if (starts.empty())
        return;
    const size_t start = starts[pick(random, starts.size())];
    const auto from = stream.begin() + static_cast<std::ptrdiff_t>(start);
    const Bytes frame(from, from + static_cast<std::ptrdiff_t>(frameSizeAt(stream, start)));
    const size_t to = starts[pick(random, starts.size())];
    stream.insert(stream.begin() + static_cast<std::ptrdiff_t>(to), frame.begin(), frame.end());
}

void mutatePlainly(Bytes &stream)
{
    const size_t size = stream.size();
    stream.resize(size + 64);
    stream.resize(LLVMFuzzerMutate(stream.data(), size, stream.size()));
}

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize, unsigned int seed)
{
    Random random(seed);
    Bytes stream(data, data + size);
    if (stream.empty())
        stream.push_back(0xFF);
    const size_t way = pick(random, 8);
    if (way == 0)
        insertFrame(stream, random);
    else if (way == 1)
        repeatFrame(stream, random);
    else
        mutatePlainly(stream);
    if (way != 7) // broken frames too
        frames(stream, repairChecksum);
    stream.resize(std::min(stream.size(), maxSize));
    std::copy(stream.begin(), stream.end(), data);
    return stream.size();
}
