#include "ChunkTable.h"

#include <array>
#include <cstring>
#include <memory>

namespace Index {

namespace {

// The interval coder of LAZ files (a variant of Amir Said's FastAC): a 32-bit base and length,
// renormalised a byte at a time, with carries propagated back into bytes already written.
constexpr std::uint32_t MIN_LENGTH = 0x01000000u;
constexpr std::uint32_t BIT_SHIFT = 13; // bits of the length dropped before a bit model's product
constexpr std::uint32_t SYMBOL_SHIFT = 15; // ... before a symbol model's product

// An adaptive probability of a 0 bit, recomputed after a growing number of bits.
struct BitModel {
    std::uint32_t zeros = 1;
    std::uint32_t total = 2;
    std::uint32_t zeroProbability = 1u << (BIT_SHIFT - 1);
    std::uint32_t cycle = 4;
    std::uint32_t untilUpdate = 4;

    void update()
    {
        if ((total += cycle) > (1u << BIT_SHIFT)) {
            total = (total + 1) >> 1;
            zeros = (zeros + 1) >> 1;
            if (zeros == total) {
                ++total;
            }
        }
        zeroProbability = (zeros * (0x80000000u / total)) >> (31 - BIT_SHIFT);
        cycle = std::min<std::uint32_t>((5 * cycle) >> 2, 64);
        untilUpdate = cycle;
    }
};

// An adaptive distribution over `size` symbols, its cumulative table recomputed after a growing
// number of symbols.
struct SymbolModel {
    explicit SymbolModel(std::uint32_t size) : counts(size, 1), cumulative(size, 0), cycle(size)
    {
        update();
        cycle = untilUpdate = (size + 6) >> 1;
    }

    std::uint32_t last() const { return static_cast<std::uint32_t>(counts.size()) - 1; }

    void update()
    {
        const auto size = static_cast<std::uint32_t>(counts.size());
        if ((total += cycle) > (1u << SYMBOL_SHIFT)) {
            total = 0;
            for (std::uint32_t& count : counts) {
                count = (count + 1) >> 1;
                total += count;
            }
        }
        const std::uint32_t scale = 0x80000000u / total;
        std::uint32_t sum = 0;
        for (std::uint32_t k = 0; k < size; ++k) {
            cumulative[k] = (scale * sum) >> (31 - SYMBOL_SHIFT);
            sum += counts[k];
        }
        cycle = std::min((5 * cycle) >> 2, (size + 6) << 3);
        untilUpdate = cycle;
    }

    std::vector<std::uint32_t> counts;
    std::vector<std::uint32_t> cumulative;
    std::uint32_t total = 0;
    std::uint32_t cycle;
    std::uint32_t untilUpdate = 0;
};

class IntervalEncoder {
public:
    void encode(BitModel& model, std::uint32_t bit)
    {
        const std::uint32_t split = model.zeroProbability * (mLength >> BIT_SHIFT);
        if (bit == 0) {
            mLength = split;
            ++model.zeros;
        } else {
            advance(split);
            mLength -= split;
        }
        renormaliseIfNeeded();
        if (--model.untilUpdate == 0) {
            model.update();
        }
    }

    void encode(SymbolModel& model, std::uint32_t symbol)
    {
        if (symbol == model.last()) {
            const std::uint32_t start = model.cumulative[symbol] * (mLength >> SYMBOL_SHIFT);
            advance(start);
            mLength -= start;
        } else {
            mLength >>= SYMBOL_SHIFT;
            const std::uint32_t start = model.cumulative[symbol] * mLength;
            advance(start);
            mLength = model.cumulative[symbol + 1] * mLength - start;
        }
        renormaliseIfNeeded();
        ++model.counts[symbol];
        if (--model.untilUpdate == 0) {
            model.update();
        }
    }

    // `count` raw bits of `value`, at most 32.
    void writeBits(std::uint32_t count, std::uint32_t value)
    {
        if (count > 19) {
            writeBits(16, value & 0xFFFFu);
            value >>= 16;
            count -= 16;
        }
        mLength >>= count;
        advance(value * mLength);
        renormaliseIfNeeded();
    }

    std::string finish()
    {
        const std::uint32_t before = mBase;
        bool thirdByte = true;
        if (mLength > 2 * MIN_LENGTH) {
            mBase += MIN_LENGTH;
            mLength = MIN_LENGTH >> 1;
        } else {
            mBase += MIN_LENGTH >> 1;
            mLength = MIN_LENGTH >> 9;
            thirdByte = false;
        }
        if (before > mBase) {
            propagateCarry();
        }
        renormalise();
        mBytes.append(thirdByte ? 3 : 2, '\0');
        return std::move(mBytes);
    }

private:
    void advance(std::uint32_t amount)
    {
        const std::uint32_t before = mBase;
        mBase += amount;
        if (before > mBase) {
            propagateCarry();
        }
    }

    void propagateCarry()
    {
        std::size_t at = mBytes.size();
        while (at > 0 && static_cast<unsigned char>(mBytes[at - 1]) == 0xFFu) {
            mBytes[--at] = '\0';
        }
        if (at > 0) {
            mBytes[at - 1] = static_cast<char>(static_cast<unsigned char>(mBytes[at - 1]) + 1);
        }
    }

    void renormaliseIfNeeded()
    {
        if (mLength < MIN_LENGTH) {
            renormalise();
        }
    }

    void renormalise()
    {
        do {
            mBytes.push_back(static_cast<char>(mBase >> 24));
            mBase <<= 8;
        } while ((mLength <<= 8) < MIN_LENGTH);
    }

    std::string mBytes;
    std::uint32_t mBase = 0;
    std::uint32_t mLength = 0xFFFFFFFFu;
};

// LASzip's integer coder for 32-bit values: the difference to a prediction is coded as its bit
// length k (one model per context), then, for k up to 8, its value in a model of its own length,
// and above 8 its top 8 bits in a model and the rest raw.
class IntegerEncoder {
public:
    explicit IntegerEncoder(std::size_t contexts)
    {
        for (std::size_t c = 0; c < contexts; ++c) {
            mLengths.emplace_back(33);
        }
        for (std::uint32_t k = 1; k <= 32; ++k) {
            mCorrections[k] = std::make_unique<SymbolModel>(1u << std::min<std::uint32_t>(k, HIGH_BITS));
        }
    }

    void encode(IntervalEncoder& coder, std::uint32_t predicted, std::uint32_t actual, std::size_t context)
    {
        const auto difference = static_cast<std::int32_t>(actual - predicted);
        const std::uint32_t magnitude =
            difference <= 0 ? 0u - static_cast<std::uint32_t>(difference) : static_cast<std::uint32_t>(difference) - 1u;
        std::uint32_t k = 0;
        for (std::uint32_t rest = magnitude; rest != 0; rest >>= 1) {
            ++k;
        }
        coder.encode(mLengths[context], k);
        if (k == 0) {
            coder.encode(mZeroOrOne, static_cast<std::uint32_t>(difference));
            return;
        }
        if (k == 32) {
            return; // differences of 2^31 and more carry no further bits
        }
        // Into [0, 2^k): negative differences from below, positive ones shifted down by one.
        const std::uint32_t value = difference < 0 ? static_cast<std::uint32_t>(difference) + ((1u << k) - 1u)
                                                   : static_cast<std::uint32_t>(difference) - 1u;
        if (k <= HIGH_BITS) {
            coder.encode(*mCorrections[k], value);
        } else {
            const std::uint32_t lowBits = k - HIGH_BITS;
            coder.encode(*mCorrections[k], value >> lowBits);
            coder.writeBits(lowBits, value & ((1u << lowBits) - 1u));
        }
    }

private:
    static constexpr std::uint32_t HIGH_BITS = 8;

    std::vector<SymbolModel> mLengths;
    BitModel mZeroOrOne;
    std::array<std::unique_ptr<SymbolModel>, 33> mCorrections;
};

void appendUint32(std::string& bytes, std::uint32_t value)
{
    char raw[4];
    std::memcpy(raw, &value, 4);
    bytes.append(raw, 4);
}

} // namespace

std::string encodeChunkTable(const std::vector<ChunkTableEntry>& chunks)
{
    std::string table;
    appendUint32(table, 0);
    appendUint32(table, static_cast<std::uint32_t>(chunks.size()));
    if (chunks.empty()) {
        return table;
    }
    IntervalEncoder coder;
    IntegerEncoder integers(2);
    ChunkTableEntry previous;
    for (const ChunkTableEntry& chunk : chunks) {
        integers.encode(coder, previous.pointCount, chunk.pointCount, 0);
        integers.encode(coder, previous.byteCount, chunk.byteCount, 1);
        previous = chunk;
    }
    return table + coder.finish();
}

} // namespace Index
