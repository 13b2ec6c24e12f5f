#include <algorithm>
#include <cstdlib>
#include <span>
#include <utility>
#include <vector>

#include "bytes/LoadError.h"
#include "formats/lazChunk.h"
#include "formats/lazPointItems.h"

// Chunks in layers: each attribute is a stream of its own, so each is decoded in a pass of its
// own over some thousand points. The first pass, of x and y, finds what the others go by.

namespace QUOR_ZEF {

namespace {

constexpr std::size_t passSize = 4096;

// What the first pass knows of a point for the others.
struct Step {
    std::uint8_t channel;  // of the scanner; each has its own models
    bool bChannelCoded;    // told anew at this point
    bool bNewChannel;      // seen for the first time: begins with what the point before had
    bool bTimeChanged;
    std::uint8_t returnKind;  // 2 for a first return, and 1 for a last one
    std::uint8_t level;       // returns between this one and the last one
    std::uint8_t zContext;
};

struct Layer {
    ByteSource source;
    ArithmeticDecoder coder;

    Layer(const InputFile& file, std::uint64_t begin, std::uint64_t end) : source(file, begin, end), coder(source) {}
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;
};

// The models of each channel, made when it is first met.
template <class Models>
using Channels = std::array<std::unique_ptr<Models>, 4>;

// Walks along the steps. getLast(models) is what a new channel begins with, and
// decode(models, i) takes the point i.
template <class Models, class GetLast, class Decode>
void forSteps(std::span<const Step> steps, Channels<Models>& channels, unsigned& channel, GetLast getLast,
              Decode decode) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        if (step.bNewChannel) channels[step.channel] = std::make_unique<Models>(getLast(*channels[channel]));
        channel = step.channel;
        decode(*channels[channel], i);
    }
}

// Returns and places in x and y.
class PlaceLayer {
public:
    PlaceLayer(const InputFile& file, std::uint64_t begin, std::uint64_t end, const char* pFirst)
        : layer(file, begin, end) {
        const unsigned returns = loadValue<std::uint8_t>(pFirst + 14);
        channel = (loadValue<std::uint8_t>(pFirst + 15) >> 4) & 3;
        const Last last{loadValue<std::int32_t>(pFirst), loadValue<std::int32_t>(pFirst + 4), returns & 15u,
                        returns >> 4u, false};
        channels[channel] = std::make_unique<Models>(last);
    }

    unsigned getChannel() const { return channel; }
    bool isDamaged() const { return layer.source.isDamaged(); }

    void decode(std::span<Step> steps, std::span<LasRecord> records) {
        ArithmeticDecoder coder = layer.coder;
        for (std::size_t i = 0; i < steps.size(); ++i) steps[i] = decodeOne(coder, records[i]);
        layer.coder = coder;
    }

private:
    struct Last {
        std::int32_t x, y;
        unsigned r, n;
        bool bTimeChanged;
    };
    struct Models {
        Last last;
        std::array<SymbolModel<128>, 8> changes;
        SymbolModel<3> channelStep;
        LazyModels<SymbolModel<16>, 16> numReturns, returns;
        SymbolModel<13> returnStep;
        IntegerModel<32, 2> x;
        IntegerModel<32, 22> y;
        std::array<RunningMedian, 12> xMedians, yMedians;

        explicit Models(const Last& l) : last(l) { last.bTimeChanged = false; }
    };

    Layer layer;
    Channels<Models> channels;
    unsigned channel = 0;

    static constexpr std::uint8_t returnMap[16][16] = {
        {0, 1, 2, 3, 4, 5, 3, 4, 4, 5, 5, 5, 5, 5, 5, 5}, {1, 0, 1, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3},
        {2, 1, 2, 4, 4, 4, 4, 4, 4, 4, 4, 3, 3, 3, 3, 3}, {3, 3, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4},
        {4, 3, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4}, {5, 3, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4},
        {3, 3, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4, 4}, {4, 3, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4},
        {4, 3, 4, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4}, {5, 3, 4, 4, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4},
        {5, 3, 4, 4, 4, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4}, {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 4, 4, 4},
        {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 4, 4}, {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 4},
        {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5}, {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5}};

    [[gnu::always_inline]] Step decodeOne(ArithmeticDecoder& coder, LasRecord& record) {
        Models* p = channels[channel].get();
        const unsigned kind =
            (p->last.r == 1 ? 1u : 0u) + (p->last.r >= p->last.n ? 2u : 0u) + (p->last.bTimeChanged ? 4u : 0u);
        const unsigned changes = coder.decodeSymbol(p->changes[kind]);
        Step step{};
        if (changes & 64) {
            step.bChannelCoded = true;
            coder.apart([&](ArithmeticDecoder& copy) { step.bNewChannel = changeChannel(copy, *p); });
            p = channels[channel].get();
        }
        step.channel = static_cast<std::uint8_t>(channel);
        step.bTimeChanged = (changes & 16) != 0;
        if (changes & 7) coder.apart([&](ArithmeticDecoder& copy) { decodeReturns(copy, *p, changes); });
        decodePlace(coder, *p, step);
        record.x = p->last.x;
        record.y = p->last.y;
        return step;
    }

    // True if nobody was there before.
    bool changeChannel(ArithmeticDecoder& coder, Models& before) {
        channel = (channel + 1 + coder.decodeSymbol(before.channelStep)) & 3;
        if (channels[channel]) return false;
        channels[channel] = std::make_unique<Models>(before.last);
        return true;
    }

    static void decodeReturns(ArithmeticDecoder& coder, Models& models, unsigned changes) {
        Last& last = models.last;
        if (changes & 4) last.n = coder.decodeSymbol(models.numReturns[last.n]);
        switch (changes & 3) {
            case 1:
                last.r = (last.r + 1) & 15;
                break;
            case 2:
                last.r = (last.r - 1) & 15;
                break;
            case 3:
                last.r = changes & 16 ? coder.decodeSymbol(models.returns[last.r])
                                      : (last.r + 2 + coder.decodeSymbol(models.returnStep)) & 15;
                break;
            default:
                break;
        }
    }

    [[gnu::always_inline]] static void decodePlace(ArithmeticDecoder& coder, Models& models, Step& step) {
        Last& last = models.last;
        const unsigned one = last.n == 1 ? 1 : 0;
        const std::size_t j = 2u * returnMap[last.n][last.r] + (step.bTimeChanged ? 1 : 0);
        const std::int32_t dx = models.x.decode(coder, models.xMedians[j].get(), one);
        models.xMedians[j].add(dx);
        const unsigned xClass = models.x.getClass();
        const std::int32_t dy = models.y.decode(coder, models.yMedians[j].get(), one + std::min(xClass & ~1u, 20u));
        models.yMedians[j].add(dy);
        last.x = addWrapped(last.x, dx);
        last.y = addWrapped(last.y, dy);
        last.bTimeChanged = step.bTimeChanged;
        const unsigned both = (xClass + models.y.getClass()) / 2;
        step.zContext = static_cast<std::uint8_t>(one + std::min(both & ~1u, 18u));
        step.level = static_cast<std::uint8_t>(std::min(last.n > last.r ? last.n - last.r : last.r - last.n, 7u));
        step.returnKind = static_cast<std::uint8_t>((last.r == 1 ? 2 : 0) + (last.r >= last.n ? 1 : 0));
    }
};

// The passes over the other attributes: each begins with the value of the first point.

struct HeightPass {
    using Value = std::int32_t;
    struct Models {
        Value last;
        std::array<std::int32_t, 8> heights;
        IntegerModel<32, 20> model;

        explicit Models(Value z) : last(z) { heights.fill(z); }
    };
    static void decode(ArithmeticDecoder& coder, Models& models, const Step& step) {
        std::int32_t& height = models.heights[step.level];
        models.last = height = models.model.decode(coder, height, step.zContext);
    }
    static Value first(const char* p) { return loadValue<std::int32_t>(p + 8); }
    static void put(Value z, LasRecord& record) { record.z = z; }
};

struct ClassPass {
    using Value = std::uint8_t;
    struct Models {
        Value last;
        LazyModels<ByteModel, 64> models;

        explicit Models(Value c) : last(c) {}
    };
    static void decode(ArithmeticDecoder& coder, Models& models, const Step& step) {
        const unsigned context = (models.last & 31u) * 2 + (step.returnKind == 3 ? 1 : 0);
        models.last = static_cast<Value>(coder.decodeSymbol(models.models[context]));
    }
    static Value first(const char* p) { return loadValue<std::uint8_t>(p + 16); }
    static void put(Value c, LasRecord& record) { record.classId = c; }
};

struct FlagPass {
    using Value = std::uint8_t;
    struct Models {
        Value last;  // four flags of the class, the direction, the edge
        LazyModels<SymbolModel<64>, 64> models;

        explicit Models(Value f) : last(f) {}
    };
    static void decode(ArithmeticDecoder& coder, Models& models, const Step& /*step*/) {
        models.last = static_cast<Value>(coder.decodeSymbol(models.models[models.last]));
    }
    static Value first(const char* p) {
        const unsigned flags = loadValue<std::uint8_t>(p + 15);
        return static_cast<Value>((flags & 15u) | (flags >> 2 & 0x30u));
    }
    static void put(Value f, LasRecord& record) { record.bWithheld = (f & 4) != 0; }
};

struct IntensityPass {
    using Value = std::uint16_t;
    struct Models {
        Value last;
        std::array<Value, 8> intensities;
        IntegerModel<16, 4> model;

        explicit Models(Value intensity) : last(intensity) { intensities.fill(intensity); }
    };
    static void decode(ArithmeticDecoder& coder, Models& models, const Step& step) {
        Value& intensity = models.intensities[2u * step.returnKind + (step.bTimeChanged ? 1 : 0)];
        models.last = intensity = static_cast<Value>(models.model.decode(coder, intensity, step.returnKind));
    }
    static Value first(const char* p) { return loadValue<std::uint16_t>(p + 12); }
    static void put(Value intensity, LasRecord& record) { record.intensity = intensity; }
};

template <class Pass>
class LayerPass {
public:
    explicit LayerPass(const char* pFirst) : firstValue(Pass::first(pFirst)) {}

    // Without this the value never changes.
    void open(const InputFile& file, std::uint64_t begin, std::uint64_t end, unsigned firstChannel) {
        pLayer = std::make_unique<Layer>(file, begin, end);
        channel = firstChannel;
        channels[channel] = std::make_unique<typename Pass::Models>(firstValue);
    }

    void decode(std::span<const Step> steps, std::span<LasRecord> records) {
        if (!pLayer) {
            for (LasRecord& record : records) Pass::put(firstValue, record);
            return;
        }
        ArithmeticDecoder coder = pLayer->coder;
        forSteps(
            steps, channels, channel, [](const auto& models) { return models.last; },
            [&](auto& models, std::size_t i) {
                Pass::decode(coder, models, steps[i]);
                Pass::put(models.last, records[i]);
            });
        pLayer->coder = coder;
    }

    void putFirst(LasRecord& record) const { Pass::put(firstValue, record); }
    bool isDamaged() const { return pLayer && pLayer->source.isDamaged(); }

private:
    typename Pass::Value firstValue;
    std::unique_ptr<Layer> pLayer;
    Channels<typename Pass::Models> channels;
    unsigned channel = 0;
};

// Colours. Files of version 3 change the channel of colours by rules of their own: each point
// whose channel is not coded goes by channel 0, and a channel that was met before decodes the
// point at which it is met again from the colour that the other channel had, which it also
// leaves there.
class ColorPass {
public:
    explicit ColorPass(const char* pFirst) { std::memcpy(first.data(), pFirst, first.size()); }

    void open(const InputFile& file, std::uint64_t begin, std::uint64_t end, unsigned firstChannel, unsigned version) {
        pLayer = std::make_unique<Layer>(file, begin, end);
        channel = firstChannel;
        bOwnRules = version < 4;
        channels[channel] = std::make_unique<Models>(first);
    }

    void decode(std::span<const Step> steps, std::span<LasRecord> records) {
        if (!pLayer) {
            for (LasRecord& record : records) putFirst(record);
            return;
        }
        ArithmeticDecoder coder = pLayer->coder;
        for (std::size_t i = 0; i < steps.size(); ++i) records[i].color = wholeColor(decodeOne(coder, steps[i]));
        pLayer->coder = coder;
    }

    void putFirst(LasRecord& record) const { record.color = wholeColor(first); }
    bool isDamaged() const { return pLayer && pLayer->source.isDamaged(); }

private:
    struct Models {
        ColorBytes last;
        ColorModel2 model;

        explicit Models(const ColorBytes& c) : last(c) {}
    };
    ColorBytes first{};
    std::unique_ptr<Layer> pLayer;
    Channels<Models> channels;
    unsigned channel = 0;
    bool bOwnRules = false;

    ColorBytes decodeOne(ArithmeticDecoder& coder, const Step& step) {
        const unsigned wanted = bOwnRules && !step.bChannelCoded ? 0 : step.channel;
        Models* pLast = channels[channel].get();
        if (wanted != channel) {
            const bool bNew = !channels[wanted];
            if (bNew) channels[wanted] = std::make_unique<Models>(pLast->last);
            channel = wanted;
            if (bNew || !bOwnRules) pLast = channels[wanted].get();
        }
        return pLast->last = channels[channel]->model.decode(coder, pLast->last);
    }
};

std::size_t numLayersOf(const LazItem& item) {
    switch (item.type) {
        case LazItem::POINT14:
            return 9;
        case LazItem::RGBNIR14:
            return 2;
        case LazItem::BYTES14:
            return item.size;
        default:
            return 1;
    }
}

// What stands before the layers of a chunk.
struct ChunkHead {
    std::vector<char> vFirst;                    // the first record
    std::vector<std::uint64_t> vBounds;          // where layers begin in the file, and where the last one ends
    std::size_t colorLayer = 0, colorPlace = 0;  // of the layers, and in a record; 0 without colour
    unsigned colorVersion = 0;

    ChunkHead(const InputFile& file, const LasHeader& header, const LazChunk& chunk) {
        const std::size_t numLayers = count(header.laz.items);
        const std::size_t length = header.recordLength;
        vFirst.resize(length + 4 + 4 * numLayers);
        if (chunk.end < chunk.begin || chunk.end - chunk.begin < vFirst.size()) fail(chunk.begin);
        file.read(chunk.begin, vFirst);
        if (loadValue<std::uint32_t>(vFirst.data() + length) < chunk.numPoints) fail(chunk.begin + length);
        vBounds.push_back(chunk.begin + vFirst.size());
        for (std::size_t i = 0; i < numLayers; ++i)
            vBounds.push_back(vBounds.back() + loadValue<std::uint32_t>(vFirst.data() + length + 4 + 4 * i));
        if (vBounds.back() > chunk.end) fail(chunk.begin + length + 4);
    }

private:
    [[noreturn]] static void fail(std::uint64_t place) {
        throw LoadError("byte " + std::to_string(place) +
                        ": layers or points reach beyond their chunk; the file is damaged, copy it anew");
    }

    std::size_t count(std::span<const LazItem> items) {
        std::size_t num = 0, place = 0;
        for (const LazItem& item : items) {
            if (item.type == LazItem::RGB14 || item.type == LazItem::RGBNIR14) {
                colorLayer = num;
                colorPlace = place;
                colorVersion = item.version;
            }
            num += numLayersOf(item);
            place += item.size;
        }
        return num;
    }
};

class LayerDecoder : public LazChunkDecoder {
public:
    LayerDecoder(const InputFile& file, const LasHeader& header, const LasFields& wanted, const LazChunk& chunk)
        : LayerDecoder(file, ChunkHead(file, header, chunk), wanted) {}

    void decode(std::uint64_t num, RecordSlice& out) override {
        if (num > 0 && bAtFirst) {
            out.add(firstRecord, fields);
            bAtFirst = false;
            --num;
        }
        for (; num > 0; num -= vSteps.size()) {
            vSteps.resize(std::min<std::uint64_t>(num, passSize));
            vRecords.resize(vSteps.size());
            decodeAll();
            for (const LasRecord& record : vRecords) out.add(record, fields);
        }
    }

    std::uint64_t getEnd() const override { return end; }

private:
    LasFields fields;
    std::uint64_t begin, end;
    PlaceLayer places;
    LayerPass<HeightPass> heights;
    LayerPass<ClassPass> classes;
    LayerPass<FlagPass> flags;
    LayerPass<IntensityPass> intensities;
    ColorPass colors;
    LasRecord firstRecord;
    bool bAtFirst = true;
    std::vector<Step> vSteps;
    std::vector<LasRecord> vRecords;

    // The layers of a point, in the order of the file.
    enum { PLACE_LAYER, HEIGHT_LAYER, CLASS_LAYER, FLAG_LAYER, INTENSITY_LAYER };

    LayerDecoder(const InputFile& file, const ChunkHead& head, const LasFields& wanted)
        : fields(wanted),
          begin(head.vBounds.front()),
          end(head.vBounds.back()),
          places(file, head.vBounds[0], head.vBounds[1], head.vFirst.data()),
          heights(head.vFirst.data()),
          classes(head.vFirst.data()),
          flags(head.vFirst.data()),
          intensities(head.vFirst.data()),
          colors(head.vFirst.data() + head.colorPlace),
          firstRecord(parseLasRecord<true>(head.vFirst.data(), fields.bColors ? head.colorPlace : 0)) {
        const auto open = [&](auto& pass, std::size_t layer, bool bWanted, auto... more) {
            if (bWanted && head.vBounds[layer] < head.vBounds[layer + 1])
                pass.open(file, head.vBounds[layer], head.vBounds[layer + 1], places.getChannel(), more...);
        };
        open(heights, HEIGHT_LAYER, fields.bRecords);
        open(classes, CLASS_LAYER, fields.bRecords && fields.bClasses);
        open(flags, FLAG_LAYER, fields.bRecords);
        open(intensities, INTENSITY_LAYER, fields.bRecords && fields.bIntensities);
        bColors = head.colorLayer > 0 && fields.bColors;
        open(colors, head.colorLayer, bColors, head.colorVersion);
    }

    bool bColors = false;

    void decodeAll() {
        places.decode(vSteps, vRecords);
        heights.decode(vSteps, vRecords);
        classes.decode(vSteps, vRecords);
        flags.decode(vSteps, vRecords);
        intensities.decode(vSteps, vRecords);
        if (bColors) colors.decode(vSteps, vRecords);
        if (places.isDamaged() || heights.isDamaged() || classes.isDamaged() || flags.isDamaged() ||
            intensities.isDamaged() || colors.isDamaged())
            throw LoadError("byte " + std::to_string(begin) +
                            ": a layer of compressed points ends too early; the file is damaged, copy it anew");
    }
};

}  // namespace

std::unique_ptr<LazChunkDecoder> makeLayerDecoder(const InputFile& file, const LasHeader& header,
                                                  const LasFields& fields, const LazChunk& chunk) {
    return std::make_unique<LayerDecoder>(file, header, fields, chunk);
}

}  // namespace QUOR_ZEF
