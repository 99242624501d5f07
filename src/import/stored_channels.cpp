#include "import/stored_channels.h"

#include <algorithm>

namespace kymora {

namespace {

// The stretch or run that holds number `at`, which there is.
template <typename Part>
const Part& Holding(const std::vector<Part>& parts, int64_t at) {
    const auto behind = std::upper_bound(parts.begin(), parts.end(), at,
                                         [](int64_t value, const Part& part) { return value < part.first; });
    return *std::prev(behind);
}

}  // namespace

// --- channels ---

uint64_t ChannelSource::OffsetIn(const SampleStretch& stretch, int64_t index) const {
    const int64_t number = index + stretch.into;
    const int64_t block = perBlock > 0 ? number / perBlock : 0;
    return stretch.offset + static_cast<uint64_t>(block) * blockBytes +
           static_cast<uint64_t>(number - block * perBlock) * stride;
}

ChannelSource ChannelSource::Part(int64_t from, int64_t length) const {
    ChannelSource part = *this;
    part.stretches.clear();
    part.runs.clear();
    part.samples = 0;
    // The first own sample of a run that lies at or behind a position.
    const auto ownAt = [&](const ChannelRun& run, int64_t position) {
        const int64_t samplesOn = std::max<int64_t>(position - run.position, 0);
        return std::min((samplesOn * per + steps - 1) / steps, run.count);
    };
    for (const ChannelRun& run : runs) {
        const int64_t begin = run.first + ownAt(run, from), end = run.first + ownAt(run, from + length);
        if (begin >= end) continue;
        const int64_t position = run.position + Drawn(begin - run.first) - from;
        part.runs.push_back({position, part.samples, end - begin, part.Drawn(end - begin)});
        auto index = static_cast<size_t>(&Holding(stretches, begin) - stretches.data());
        for (int64_t at = begin; at < end; ++index) {
            const SampleStretch& stretch = stretches[index];
            const int64_t stretchEnd = index + 1 < stretches.size() ? stretches[index + 1].first : samples;
            SampleStretch& made = part.stretches.emplace_back(stretch);
            made.first = part.samples;
            made.into = stretch.into + at - stretch.first;
            if (perBlock == 0) {
                made.offset = OffsetIn(stretch, at - stretch.first);
                made.into = 0;
            }
            part.samples += std::min(end, stretchEnd) - at;
            at = std::min(end, stretchEnd);
        }
    }
    return part;
}

void ChannelSource::Add(int64_t position, int64_t count, uint64_t offset, uint32_t scale) {
    if (count <= 0) return;
    if (runs.empty() || position > End()) runs.push_back({position, samples, 0, 0});
    ChannelRun& run = runs.back();
    run.count += count;
    run.length = Drawn(run.count);
    const bool goesOn = !stretches.empty() && stretches.back().scale == scale &&
                        OffsetIn(stretches.back(), samples - stretches.back().first) == offset;
    if (!goesOn) stretches.push_back({samples, offset, scale});
    samples += count;
}

int64_t ChannelSource::LastPosition() const {
    return runs.empty() ? -1 : runs.back().position + Drawn(runs.back().count - 1);
}

void ChannelSource::Trim(int64_t end) {
    if (!runs.empty()) runs.back().length = std::min(runs.back().length, end - runs.back().position);
}

RunList ChannelSource::Runs(int64_t length) const {
    std::vector<uint32_t> list{0};
    int64_t end = 0;
    for (const ChannelRun& run : runs) {
        if (run.position > end) AddRun(list, false, run.position - end);
        AddRun(list, true, run.length);
        end = run.position + run.length;
    }
    if (length > end) AddRun(list, false, length - end);
    return RunList(std::move(list));
}

// --- reading ---

StoredChannelReader::StoredChannelReader(const DataFile& file, std::vector<ChannelSource> channels)
    : file_(file), channels_(std::move(channels)) {
    for (const ChannelSource& channel : channels_) {
        auto& before = storedBefore_.emplace_back();
        int64_t stored = 0;
        for (const ChannelRun& run : channel.runs) {
            before.push_back(stored);
            stored += run.length;
        }
        isInterleaved_ = isInterleaved_ || channel.perBlock > 0 ||
                         channel.stride > static_cast<uint32_t>(BytesOf(channel.type));
        const int64_t inBytes =
            channel.perBlock > 0 ? bytesAtOnce / static_cast<int64_t>(channel.blockBytes) * channel.perBlock
                                 : bytesAtOnce / channel.stride;
        atOnce_ = std::min(atOnce_, std::max<int64_t>(inBytes, std::max<int64_t>(channel.perBlock, 1)));
    }
    held_.resize(isInterleaved_ ? 1 : channels_.size());
    for (size_t c = 0; c < channels_.size(); ++c) isRightBehind_.push_back(IsRightBehind(c));
    FindRows();
}

// Only for channels of little-endian words, beside another one.
bool StoredChannelReader::IsRightBehind(size_t channel) const {
    if (channel == 0) return false;
    const ChannelSource& one = channels_[channel - 1];
    const ChannelSource& next = channels_[channel];
    const auto isPlain = [](const ChannelSource& source) {
        return AreWords(source.type) && source.order == ByteOrder::little && source.perBlock == 0 &&
               !source.IsDrawnOut() && std::all_of(source.scales.begin(), source.scales.end(), HasSteps);
    };
    return isPlain(one) && isPlain(next) && one.type == next.type && one.stride == next.stride &&
           one.samples == next.samples &&
           std::equal(one.stretches.begin(), one.stretches.end(), next.stretches.begin(),
                      next.stretches.end(), [](const SampleStretch& a, const SampleStretch& b) {
                          return a.first == b.first && a.offset + sizeof(int16_t) == b.offset;
                      });
}

size_t StoredChannelReader::Neighbours(std::span<const ChannelPiece> pieces) const {
    if (!isInterleaved_ || pieces.empty()) return 0;
    size_t count = 1;
    while (count < pieces.size() && pieces[count].channel == pieces[count - 1].channel + 1 &&
           isRightBehind_[static_cast<size_t>(pieces[count].channel)])
        ++count;
    return count >= neighboursAtOnce ? count : 0;
}

void StoredChannelReader::ReadNeighbours(int64_t from, int64_t count, std::span<const ChannelPiece> pieces,
                                         int64_t into) {
    const ChannelSource& first = channels_[static_cast<size_t>(pieces[0].channel)];
    const SampleStretch* stretch = &Holding(first.stretches, from);
    const SampleStretch* const end = first.stretches.data() + first.stretches.size();
    for (int64_t done = 0; done < count; ++stretch) {
        const int64_t at = from + done;
        const int64_t stretchEnd = stretch + 1 == end ? first.samples : stretch[1].first;
        const int64_t n = std::min(stretchEnd - at, count - done);
        const auto index = static_cast<size_t>(stretch - first.stretches.data());
        scales_.clear();
        places_.clear();
        for (const ChannelPiece& piece : pieces) {
            const ChannelSource& source = channels_[static_cast<size_t>(piece.channel)];
            scales_.push_back(StepsOf(source.scales[source.stretches[index].scale]));
            places_.push_back(piece.to + into + done);
        }
        const int64_t bytes = (n - 1) * first.stride + static_cast<int64_t>(pieces.size() * sizeof(int16_t));
        const uint64_t offset = first.OffsetIn(*stretch, at - stretch->first);
        ConvertNeighbours(first.type, Load(pieces[0].channel, offset, bytes), first.stride, n, scales_,
                          places_);
        done += n;
    }
}

// Whole rows of numbers are taken apart faster than channel by channel.
void StoredChannelReader::FindRows() {
    if (channels_.empty() || channels_.size() > maxBinaryTraces) return;
    const ChannelSource& first = channels_[0];
    const auto bytes = static_cast<uint32_t>(BytesOf(first.type));
    const bool areNeighbours = AreWords(first.type) && channels_.size() >= neighboursAtOnce;
    if (first.perBlock > 0 || areNeighbours || first.type == NumberType::u16 ||
        first.type == NumberType::i24 || first.order == ByteOrder::big ||
        first.stride != bytes * channels_.size())
        return;
    // Rows are made single precision before they are scaled.
    const bool isWide = first.type == NumberType::i32 || first.type == NumberType::f64;
    for (size_t c = 0; c < channels_.size(); ++c) {
        const ChannelSource& channel = channels_[c];
        if (isWide && !std::all_of(channel.scales.begin(), channel.scales.end(), [](const ValueScale& scale) {
                return scale.factor == 1.0 && scale.offset == 0.0 && scale.divisor == 0.0f;
            }))
            return;
        const bool isLike = channel.type == first.type && channel.order == first.order &&
                            channel.stride == first.stride && !channel.IsDrawnOut() &&
                            channel.stretches.size() == first.stretches.size() &&
                            channel.samples == first.samples && channel.perBlock == 0;
        if (!isLike) return;
        for (size_t s = 0; s < first.stretches.size(); ++s)
            if (channel.stretches[s].first != first.stretches[s].first ||
                channel.stretches[s].offset != first.stretches[s].offset + c * bytes)
                return;
    }
    constexpr BinaryType types[] = {BinaryType::byte,   BinaryType::int16, BinaryType::int16,
                                    BinaryType::int16,  BinaryType::int32, BinaryType::float32,
                                    BinaryType::float64};
    rows_.emplace(file_,
                  BinaryLayout{static_cast<int>(channels_.size()), types[static_cast<size_t>(first.type)]});
}

void StoredChannelReader::Read(int64_t from, int64_t count, std::span<const ChannelPiece> pieces) {
    if (rows_) return ReadRows(from, count, pieces);
    groups_.clear();
    for (auto rest = pieces; !rest.empty(); rest = rest.subspan(groups_.back().size()))
        groups_.push_back(rest.first(std::max<size_t>(Neighbours(rest), 1)));
    for (int64_t done = 0; done < count;) {
        const int64_t n = isInterleaved_ ? std::min(atOnce_, count - done) : count;
        if (isInterleaved_) LoadTogether(from + done, n);
        for (const auto& group : groups_) {
            if (group.size() > 1)
                ReadNeighbours(from + done, n, group, done);
            else
                ReadChannel(group[0].channel, from + done, n, group[0].to + done);
        }
        done += n;
    }
}

void StoredChannelReader::ReadRows(int64_t from, int64_t count, std::span<const ChannelPiece> pieces) {
    constexpr int64_t rowsInCache = 4096;
    const ChannelSource& first = channels_[0];
    std::vector<BinaryPiece> parts;
    for (const ChannelPiece& piece : pieces) parts.push_back({piece.channel, piece.to});
    for (int64_t done = 0; done < count;) {
        const int64_t at = from + done;
        const SampleStretch& stretch = Holding(first.stretches, at);
        const auto index = static_cast<size_t>(&stretch - first.stretches.data());
        const int64_t end =
            index + 1 == first.stretches.size() ? first.samples : first.stretches[index + 1].first;
        const int64_t n = std::min({rowsInCache, count - done, end - at});
        rows_->ReadAt(stretch.offset + static_cast<uint64_t>(at - stretch.first) * first.stride, n, parts);
        for (BinaryPiece& part : parts) {
            const ChannelSource& source = channels_[static_cast<size_t>(part.trace)];
            ScaleNumbers(source.type, source.scales[source.stretches[index].scale],
                         {part.to, static_cast<size_t>(n)});
            part.to += n;
        }
        done += n;
    }
}

void StoredChannelReader::ReadChannel(int channel, int64_t from, int64_t count, float* to) {
    const ChannelSource& source = channels_[static_cast<size_t>(channel)];
    const auto& before = storedBefore_[static_cast<size_t>(channel)];
    if (!source.IsDrawnOut()) return ReadOwn(channel, from, count, to);
    auto at = static_cast<size_t>(std::upper_bound(before.begin(), before.end(), from) - before.begin()) - 1;
    for (int64_t done = 0; done < count; ++at) {
        const ChannelRun& run = source.runs[at];
        const int64_t inRun = from + done - before[at];
        const int64_t n = std::min(run.length - inRun, count - done);
        DrawOut(channel, run, inRun, n, to + done);
        done += n;
    }
}

// Between own samples a and b lie a + (b - a) x j / k, where k is an own sample's length and j counts from a.
void StoredChannelReader::DrawOut(int channel, const ChannelRun& run, int64_t from, int64_t count,
                                  float* to) {
    const ChannelSource& source = channels_[static_cast<size_t>(channel)];
    const int64_t atOnce = std::max<int64_t>(samplesAtOnce, source.steps / source.per);
    const auto k = static_cast<float>(source.steps);
    for (int64_t done = 0; done < count;) {
        const int64_t n = std::min(atOnce, count - done);
        const int64_t first = (from + done) * source.per / source.steps;
        const int64_t last = (from + done + n - 1) * source.per / source.steps;
        const int64_t needed = std::min(last + 2, run.count) - first;
        own_.resize(static_cast<size_t>(needed) + 1);
        ReadOwn(channel, run.first + first, needed, own_.data());
        own_[static_cast<size_t>(needed)] = own_[static_cast<size_t>(needed) - 1];
        int64_t sample = 0;
        int64_t j = (from + done) * source.per - first * source.steps;
        for (int64_t i = 0; i < n; ++i) {
            const float a = own_[static_cast<size_t>(sample)], b = own_[static_cast<size_t>(sample) + 1];
            to[done + i] = j == 0 ? a : a + (b - a) * static_cast<float>(j) / k;
            for (j += source.per; j >= source.steps; j -= source.steps) ++sample;
        }
        done += n;
    }
}

void StoredChannelReader::ReadOwn(int channel, int64_t first, int64_t count, float* to) {
    const ChannelSource& source = channels_[static_cast<size_t>(channel)];
    const int64_t most = std::max<int64_t>(bytesAtOnce / source.stride, 1);
    const SampleStretch* stretch = &Holding(source.stretches, first);
    const SampleStretch* const end = source.stretches.data() + source.stretches.size();
    for (int64_t done = 0; done < count;) {
        const int64_t at = first + done;
        const int64_t stretchEnd = stretch + 1 == end ? source.samples : stretch[1].first;
        int64_t n = std::min({stretchEnd - at, count - done, most});
        const uint64_t offset = source.OffsetIn(*stretch, at - stretch->first);
        int64_t bytes = (n - 1) * source.stride + BytesOf(source.type);
        NumberPlaces places{source.stride};
        if (source.perBlock > 0) {
            n = InBlocks(channel, n, (at - stretch->first + stretch->into) % source.perBlock, offset);
            places.perBlock = source.perBlock;
            places.blockBytes = static_cast<int64_t>(source.blockBytes);
            const int64_t last = (n - 1) / source.perBlock;
            bytes = last * places.blockBytes + (n - 1 - last * source.perBlock) * source.stride +
                    BytesOf(source.type);
        }
        ConvertNumbers(source.type, source.order, Load(channel, offset, bytes), places, n,
                       source.scales[stretch->scale], to + done);
        done += n;
        if (at + n == stretchEnd) ++stretch;
    }
}

// How many of `count` numbers to take together, the first of which lies `into` its block: the rest of that
// block; from its beginning as many blocks as are at hand, or worth reading with what lies between.
int64_t StoredChannelReader::InBlocks(int channel, int64_t count, int64_t into, uint64_t offset) const {
    constexpr uint64_t leastShare = 4;
    const ChannelSource& source = channels_[static_cast<size_t>(channel)];
    if (into > 0 || count <= source.perBlock) return std::min(count, source.perBlock - into);
    const auto ownBytes = static_cast<uint64_t>(source.perBlock * source.stride);
    const auto blocks = static_cast<uint64_t>(count / source.perBlock);
    const uint64_t bytes = (blocks - 1) * source.blockBytes + ownBytes;
    const bool isWorthIt = bytes <= bytesAtOnce &&
                           (ownBytes * leastShare >= source.blockBytes || IsHeld(channel, offset, bytes));
    return isWorthIt ? static_cast<int64_t>(blocks) * source.perBlock : source.perBlock;
}

// The own sample of which a stored sample of the recording is made.
int64_t StoredChannelReader::OwnIndex(int channel, int64_t stored) const {
    const ChannelSource& source = channels_[static_cast<size_t>(channel)];
    if (!source.IsDrawnOut()) return stored;
    const auto& before = storedBefore_[static_cast<size_t>(channel)];
    const auto behind = std::upper_bound(before.begin(), before.end(), stored);
    const auto run = static_cast<size_t>(behind - before.begin()) - 1;
    return source.runs[run].first + (stored - before[run]) * source.per / source.steps;
}

// Loads what all channels need of a part in one piece, where it lies together and enough of it is wanted.
void StoredChannelReader::LoadTogether(int64_t from, int64_t count) {
    constexpr uint64_t mostTogether = 4 * bytesAtOnce, leastShare = 16;
    uint64_t begin = UINT64_MAX, end = 0, wanted = 0;
    for (const auto& group : groups_) {
        const int channel = group.front().channel;
        const ChannelSource& source = channels_[static_cast<size_t>(channel)];
        const int64_t first = OwnIndex(channel, from), last = OwnIndex(channel, from + count - 1);
        const SampleStretch& at = Holding(source.stretches, first);
        const SampleStretch& to = Holding(source.stretches, last);
        const uint64_t bytes = static_cast<uint64_t>(BytesOf(source.type)) * group.size();
        begin = std::min(begin, source.OffsetIn(at, first - at.first));
        end = std::max(end, source.OffsetIn(to, last - to.first) + bytes);
        wanted += static_cast<uint64_t>(last - first + 1) * bytes;
    }
    const bool areMany = groups_.size() > 1 || groups_.front().size() > 1;
    const bool isWorthIt =
        areMany && end > begin && end - begin <= mostTogether && wanted >= (end - begin) / leastShare;
    if (isWorthIt) Load(groups_.front().front().channel, begin, static_cast<int64_t>(end - begin));
}

bool StoredChannelReader::IsHeld(int channel, uint64_t offset, uint64_t bytes) const {
    const Held& held = held_[isInterleaved_ ? 0 : static_cast<size_t>(channel)];
    return offset >= held.offset && offset + bytes <= held.offset + held.length;
}

// Bytes of the file, with some more behind them. What is loaded stays until something else is asked for.
const std::byte* StoredChannelReader::Load(int channel, uint64_t offset, int64_t bytes) {
    constexpr uint64_t page = 4096;  // neighbours of a row begin a little before
    Held& held = held_[isInterleaved_ ? 0 : static_cast<size_t>(channel)];
    if (!IsHeld(channel, offset, static_cast<uint64_t>(bytes))) {
        const uint64_t start = isInterleaved_ ? offset / page * page : offset;
        const uint64_t needed = offset - start + static_cast<uint64_t>(bytes);
        const uint64_t wanted = isInterleaved_ ? needed + page : std::max<uint64_t>(needed, readAhead);
        if (held.bytes.size() < wanted + bytesBehindNumbers)
            held.bytes.resize(static_cast<size_t>(wanted + bytesBehindNumbers));
        held.length = 0;
        held.offset = start;
        const size_t got = file_.ReadAt(start, std::span(held.bytes).first(static_cast<size_t>(wanted)));
        if (got < needed) throw FileError("The file has become shorter since it was opened", 0);
        held.length = got;
    }
    return held.bytes.data() + (offset - held.offset);
}

}  // namespace kymora
