#include <span>

#include "bytes/LoadError.h"
#include "formats/lazChunk.h"
#include "formats/lazPointItems.h"

namespace QUOR_ZEF {

namespace {

// One of each at the most; those that the file does not have stay null.
struct PointItems {
    std::unique_ptr<PointItem1> point1;
    std::unique_ptr<PointItem2> point2;
    std::unique_ptr<TimeItem1> time1;
    std::unique_ptr<TimeItem2> time2;
    std::unique_ptr<ColorItem1> color1;
    std::unique_ptr<ColorItem2> color2;
    std::unique_ptr<WaveItem> wave;
    std::unique_ptr<BytesItem1> bytes1;
    std::unique_ptr<BytesItem2> bytes2;

    PointItems(std::span<const LazItem> items, const char* p) {
        for (const LazItem& item : items) {
            make(item, p);
            p += item.size;
        }
    }

    [[gnu::always_inline]] void decode(ArithmeticDecoder& coder) const {
        point2 ? point2->decode(coder) : point1->decode(coder);
        if (time2) time2->decode(coder);
        if (time1) time1->decode(coder);
        if (color2) color2->decode(coder);
        if (color1) color1->decode(coder);
        if (wave) wave->decode(coder);
        if (bytes2) bytes2->decode(coder);
        if (bytes1) bytes1->decode(coder);
    }

    LasRecord getRecord() const {
        const Point10& point = point2 ? point2->get() : point1->get();
        LasRecord record;
        record.x = point.x;
        record.y = point.y;
        record.z = point.z;
        record.intensity = point.intensity;
        record.classId = point.classification & 0x1f;
        record.bWithheld = (point.classification & 0x80) != 0;
        if (color2) record.color = wholeColor(color2->get());
        if (color1) record.color = wholeColor(color1->get());
        return record;
    }

private:
    void make(const LazItem& item, const char* p) {
        const bool bFirst = item.version == 1;
        if (item.type == LazItem::POINT10) bFirst ? makeOne(point1, p) : makeOne(point2, p);
        if (item.type == LazItem::RGB12) bFirst ? makeOne(color1, p) : makeOne(color2, p);
        if (item.type == LazItem::WAVE13) makeOne(wave, p);
        if (item.type == LazItem::TIME11) bFirst ? makeOne(time1) : makeOne(time2, p);
        if (item.type == LazItem::BYTES) bFirst ? makeOne(bytes1, p, item.size) : makeOne(bytes2, item.size);
    }

    template <class Item, class... Arguments>
    static void makeOne(std::unique_ptr<Item>& pItem, Arguments... arguments) {
        pItem = std::make_unique<Item>(arguments...);
    }
};

std::vector<char> loadBytes(const InputFile& file, std::uint64_t place, std::size_t num) {
    std::vector<char> vBytes(num);
    file.read(place, vBytes);
    return vBytes;
}

class PointDecoder : public LazChunkDecoder {
public:
    PointDecoder(const InputFile& file, const LasHeader& header, const LasFields& wanted, const LazChunk& chunk)
        : fields(wanted),
          items(header.laz.items, loadBytes(file, chunk.begin, header.recordLength).data()),
          source(file, chunk.begin + header.recordLength, chunk.end),
          shared(source) {}

    void decode(std::uint64_t num, RecordSlice& out) override {
        if (num > 0 && bAtFirst) {
            out.add(items.getRecord(), fields);
            bAtFirst = false;
            --num;
        }
        ArithmeticDecoder coder = shared;
        for (; num > 0; --num) {
            items.decode(coder);
            if (coder.isDamaged()) [[unlikely]]
                throw LoadError("byte " + std::to_string(coder.getPlace()) +
                                ": the compressed points end or break off here; copy the file anew");
            out.add(items.getRecord(), fields);
        }
        shared = coder;
    }

    std::uint64_t getEnd() const override { return shared.getPlace(); }

private:
    LasFields fields;
    PointItems items;
    ByteSource source;
    ArithmeticDecoder shared;
    bool bAtFirst = true;
};

}  // namespace

std::unique_ptr<LazChunkDecoder> makePointDecoder(const InputFile& file, const LasHeader& header,
                                                  const LasFields& fields, const LazChunk& chunk) {
    return std::make_unique<PointDecoder>(file, header, fields, chunk);
}

}  // namespace QUOR_ZEF
