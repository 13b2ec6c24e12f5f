#include "formats/e57.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "bytes/FileBytes.h"
#include "formats/E57Pages.h"
#include "formats/E57Scans.h"
#include "formats/E57Section.h"
#include "formats/decodeRows.h"

namespace QUOR_ZEF {

namespace {

using namespace e57_roles;

constexpr std::string_view signature = "ASTM-E57";
constexpr std::uint64_t headerBytes = 48;

struct Header {
    std::uint32_t minorVersion = 0;
    std::uint64_t fileBytes = 0, xmlOffset = 0, xmlBytes = 0;
};

Header readHeader(E57Pages& pages) {
    const std::string bytes = pages.read(0, headerBytes);
    const char* const p = bytes.data();
    const auto major = loadValue<std::uint32_t>(p + 8);
    if (major != 1)
        throw LoadError("byte 8: version " + std::to_string(major) +
                        " of E57 is not known; export the file as version 1");
    const auto pageBytes = loadValue<std::uint64_t>(p + 40);
    if (pageBytes != E57Pages::pageBytes)
        throw LoadError("byte 40: pages of " + std::to_string(pageBytes) + " bytes, expected 1024" + copyAnew);
    return {loadValue<std::uint32_t>(p + 12), loadValue<std::uint64_t>(p + 16), loadValue<std::uint64_t>(p + 24),
            loadValue<std::uint64_t>(p + 32)};
}

std::string readXml(E57Pages& pages, const Header& header) {
    constexpr std::uint64_t maxBytes = std::uint64_t{1} << 24;
    if (header.xmlBytes > maxBytes)
        throw LoadError("byte 32: an XML part of " + std::to_string(header.xmlBytes) +
                        " bytes, expected 16 MiB at most" + copyAnew);
    return pages.read(E57Pages::toLogical(header.xmlOffset), header.xmlBytes);
}

// Turns records into points.
class E57Decoder {
public:
    E57Decoder(const E57Scan& from, const E57Section& packets, bool bSphere)
        : scan(from), section(packets), bSpherical(bSphere) {
        bPose = scan.pose.has_value();
        const E57Pose pose = scan.pose.value_or(E57Pose());
        rows = pose.rows;
        translation = pose.translation;
        for (std::size_t i = 0; i < 3; ++i) {
            if (!scan.colorLimits[i]) continue;
            lowest[i] = scan.colorLimits[i]->lowest;
            factor[i] = 255.0 / (scan.colorLimits[i]->highest - lowest[i]);
        }
    }

    // The records from begin to end, into out from first + begin on; vKeep gets 0 for points that
    // are none. Returns how many stand before the first damaged one. From any threads.
    std::size_t decode(std::size_t begin, std::size_t end, std::size_t first, PointBlock& out,
                       std::vector<char>& vKeep) const {
        Values values;
        for (std::size_t i = begin; i < end; i += numAtOnce) {
            const std::size_t num = std::min(numAtOnce, end - i);
            const std::size_t numGood = load(i, num, values);
            setPoints(values, numGood, vKeep.data() + i, out.points.data() + first + i);
            if (values.has(RED)) setColors(values, numGood, out.points.data() + first + i);
            if (!out.intensities.empty()) setIntensities(values, numGood, out.intensities.data() + first + i);
            if (!out.normals.empty()) setNormals(values, numGood, out.normals.data() + first + i);
            if (numGood < num) return i + numGood;
        }
        return end;
    }

    // The name of a field whose value in this record is damaged.
    std::string findBad(std::size_t record) const {
        double value = 0.0;
        for (std::size_t role = 0; role < NUM_ROLES; ++role) {
            const E57Column* pColumn = section.getColumn(Role(role));
            if (pColumn && pColumn->decode(record, {&value, 1}) == 0) return pColumn->getField().name;
        }
        return {};
    }

private:
    // Of records that fit into the first cache.
    static constexpr std::size_t numAtOnce = 256;

    struct Values {
        std::array<std::array<double, numAtOnce>, NUM_ROLES> columns;
        std::array<bool, NUM_ROLES> there;
        bool has(Role role) const { return there[role]; }
    };

    const E57Scan& scan;
    const E57Section& section;
    bool bSpherical;
    bool bPose = false;
    std::array<Vector3, 3> rows;
    Vector3 translation;
    std::array<double, 3> lowest{};
    std::array<double, 3> factor{1.0, 1.0, 1.0};

    std::size_t load(std::size_t first, std::size_t num, Values& values) const {
        std::size_t numGood = num;
        for (std::size_t role = 0; role < NUM_ROLES; ++role) {
            const E57Column* pColumn = section.getColumn(Role(role));
            values.there[role] = pColumn != nullptr;
            if (pColumn) numGood = std::min(numGood, pColumn->decode(first, {values.columns[role].data(), num}));
        }
        return numGood;
    }

    Vector3 turned(const Vector3& v) const { return {rows[0] * v, rows[1] * v, rows[2] * v}; }

    Vector3 placeOf(const Values& values, std::size_t i) const {
        const double a = values.columns[FIRST][i], b = values.columns[SECOND][i], c = values.columns[THIRD][i];
        if (!bSpherical) return {a, b, c};
        const double flat = a * std::cos(c);
        return {flat * std::cos(b), flat * std::sin(b), a * std::sin(c)};
    }

    void setPoints(const Values& values, std::size_t num, char* pKeep, Point3* pOut) const {
        for (std::size_t i = 0; i < num; ++i) {
            Vector3 v = placeOf(values, i);
            if (bPose) v = turned(v) + translation;
            pOut[i].set(v.vx, v.vy, v.vz);
            const bool bValid = !values.has(STATE) || values.columns[STATE][i] == 0.0;
            pKeep[i] = bValid && std::isfinite(v.vx) && std::isfinite(v.vy) && std::isfinite(v.vz);
        }
    }

    std::uint8_t channel(const Values& values, std::size_t color, std::size_t i) const {
        const double value = (values.columns[RED + color][i] - lowest[color]) * factor[color];
        if (!(value > 0.0)) return 0;
        return value >= 255.0 ? std::uint8_t{255} : static_cast<std::uint8_t>(value + 0.5);
    }

    void setColors(const Values& values, std::size_t num, Point3* pOut) const {
        for (std::size_t i = 0; i < num; ++i)
            if (!values.has(NO_COLOR) || values.columns[NO_COLOR][i] == 0.0)
                pOut[i].setColor(channel(values, 0, i), channel(values, 1, i), channel(values, 2, i), 255);
    }

    static void setIntensities(const Values& values, std::size_t num, float* pOut) {
        if (!values.has(INTENSITY)) return;
        for (std::size_t i = 0; i < num; ++i)
            if (!values.has(NO_INTENSITY) || values.columns[NO_INTENSITY][i] == 0.0)
                pOut[i] = static_cast<float>(values.columns[INTENSITY][i]);
    }

    void setNormals(const Values& values, std::size_t num, Vector3* pOut) const {
        if (!values.has(NORMAL_X)) return;
        for (std::size_t i = 0; i < num; ++i) {
            const Vector3 normal =
                turned({values.columns[NORMAL_X][i], values.columns[NORMAL_Y][i], values.columns[NORMAL_Z][i]});
            if (std::isfinite(normal.vx + normal.vy + normal.vz)) pOut[i] = normal;
        }
    }
};

class E57Stream : public PointStream {
public:
    E57Stream(const InputFile& source, const PointChoice& wanted) : file(source), pages(source), choice(wanted) {
        const Header header = readHeader(pages);
        used.add(0, headerBytes);
        const std::uint64_t xmlPlace = E57Pages::toLogical(header.xmlOffset);
        content = parseE57(readXml(pages, header));
        used.add(xmlPlace, xmlPlace + header.xmlBytes);
        bCutShort = header.fileBytes > file.getSize();
        if (content.scans.empty()) throw LoadError("XML part: the file holds no scans; export it with points");
        scanIndex = choice.scan.value_or(0);
        if (scanIndex >= content.scans.size())
            throw LoadError("XML part: scan " + std::to_string(scanIndex) + " is wanted, but the last one is scan " +
                            std::to_string(content.scans.size() - 1) + "; choose another one");
        lastScan = choice.scan ? scanIndex + 1 : content.scans.size();
        takeFacts(header);
    }

    const ScanFacts& getFacts() const override { return facts; }
    std::uint64_t getPosition() const override { return std::min(file.getSize(), position); }

    bool next(PointBlock& out) override {
        if (bDone) return false;
        try {
            while (numLeft == 0 && scanIndex < lastScan) startScan();
            if (numLeft > 0) {
                takeBlock(out);
                return true;
            }
            finish();
            return false;
        } catch (const LoadError&) {
            bDone = true;
            throw;
        }
    }

private:
    const InputFile& file;
    E57Pages pages;
    PointChoice choice;
    E57Content content;
    ScanFacts facts;
    E57UsedParts used;
    bool bCutShort = false;
    bool bDone = false;
    RowShape shape;  // what some scan has
    std::uint64_t position = 0;
    std::uint64_t numInvalid = 0;

    std::size_t scanIndex = 0, lastScan = 0;  // the next one to start, and behind the last one
    std::uint64_t numLeft = 0;                // records of the scan that has been started
    std::optional<E57Section> section;
    std::optional<E57Decoder> decoder;
    std::optional<Point3> viewpoint;

    // Of the records that are announced.
    static std::uint64_t recordsThatFit(const E57Scan& scan, std::uint64_t fileBytes) {
        constexpr std::uint64_t maxWithoutBits = 1'000'000;
        unsigned widest = 0;
        for (const E57Field& field : scan.fields) widest = std::max(widest, field.numBits);
        return std::min(scan.numRecords, widest > 0 ? fileBytes * 8 / widest : maxWithoutBits);
    }

    void takeFacts(const Header& header) {
        constexpr std::size_t maxComments = 100;
        facts.format = "E57 1." + std::to_string(header.minorVersion);
        facts.numScans = static_cast<std::uint32_t>(content.scans.size());
        facts.projection = content.projection;
        for (std::size_t i = scanIndex; i < lastScan; ++i) {
            const E57Scan& scan = content.scans[i];
            facts.numPoints += recordsThatFit(scan, file.getSize());
            for (const std::string& text : {scan.name, scan.description})
                if (!text.empty() && facts.comments.size() < maxComments) facts.comments.push_back(text);
            shape.bIntensities = shape.bIntensities || (choice.bIntensities && scan.find("intensity"));
            shape.bNormals = shape.bNormals || (choice.bNormals && scan.find(":normalX"));
        }
    }

    // Three fields of one meaning, or none of them.
    static void findThree(const E57Scan& scan, const std::array<const char*, 3>& names, Role first,
                          E57Section::Fields& fields) {
        for (std::size_t i = 0; i < 3; ++i) fields[first + i] = scan.find(names[i]);
        if (fields[first] && fields[first + 1] && fields[first + 2]) return;
        for (std::size_t i = 0; i < 3; ++i) fields[first + i] = nullptr;
    }

    E57Section::Fields fieldsOf(const E57Scan& scan, bool& bSpherical) const {
        E57Section::Fields fields{};
        findThree(scan, {"cartesianX", "cartesianY", "cartesianZ"}, FIRST, fields);
        bSpherical = !fields[FIRST];
        if (bSpherical) findThree(scan, {"sphericalRange", "sphericalAzimuth", "sphericalElevation"}, FIRST, fields);
        fields[STATE] = scan.find(bSpherical ? "sphericalInvalidState" : "cartesianInvalidState");
        if (choice.bColors) findThree(scan, {"colorRed", "colorGreen", "colorBlue"}, RED, fields);
        if (fields[RED]) fields[NO_COLOR] = scan.find("isColorInvalid");
        if (choice.bIntensities) fields[INTENSITY] = scan.find("intensity");
        if (fields[INTENSITY]) fields[NO_INTENSITY] = scan.find("isIntensityInvalid");
        if (choice.bNormals) findThree(scan, {":normalX", ":normalY", ":normalZ"}, NORMAL_X, fields);
        const std::string place = "XML part: scan " + std::to_string(scanIndex - 1) + ": ";
        if (!fields[FIRST]) throw LoadError(place + "there are no coordinates; export them with the points");
        for (const E57Field* pField : fields)
            if (pField && pField->type == E57Field::Type::STRING)
                throw LoadError(place + pField->name + " is text, expected numbers" + copyAnew);
        return fields;
    }

    void startScan() {
        const E57Scan& scan = content.scans[scanIndex++];
        if (scan.numRecords == 0) return;
        bool bSpherical = false;
        const E57Section::Fields fields = fieldsOf(scan, bSpherical);
        decoder.reset();
        section.emplace(pages, scan, fields, used);
        decoder.emplace(scan, *section, bSpherical);
        if (section->count() == E57Column::endless && scan.numRecords > recordsThatFit(scan, file.getSize()))
            throw LoadError("XML part: scan " + std::to_string(scanIndex - 1) + ": the file has no room for " +
                            std::to_string(scan.numRecords) + " records" + copyAnew);
        numLeft = scan.numRecords;
        // Where a scanner measures angles, it stands where they meet.
        viewpoint.reset();
        const Vector3 origin = scan.pose.value_or(E57Pose()).translation;
        if (scan.pose || bSpherical) viewpoint = Point3(origin.vx, origin.vy, origin.vz);
    }

    void takeBlock(PointBlock& out) {
        constexpr std::uint64_t numWanted = std::uint64_t{1} << 18;
        constexpr std::uint64_t maxTaken = std::uint64_t{1} << 20;  // a packet may hold very many
        std::optional<LoadError> fault;
        const std::uint64_t place = section->getPlace();
        try {
            section->fill(std::min(numLeft, numWanted));
        } catch (const LoadError& error) {
            fault = error;
        }
        position += E57Pages::toPhysical(section->getPlace() - place);
        decodeBlock(static_cast<std::size_t>(std::min({section->count(), numLeft, maxTaken})), out);
        if (fault) throw LoadError(*fault);
    }

    void decodeBlock(std::size_t num, PointBlock& out) {
        constexpr std::size_t minRecords = 4096;  // of a thread
        out.viewpoint = viewpoint;
        const auto decode = [&](std::size_t begin, std::size_t end, std::size_t first, std::vector<char>& vKeep) {
            return decoder->decode(begin, end, first, out, vKeep);
        };
        const DecodedRows decoded = decodeRows(num, minRecords, shape, out, decode);
        numInvalid += decoded.numEmpty;
        if (decoded.numGood < num) failAtRecord(decoded.numGood);
        section->drop(num);
        numLeft -= num;
    }

    [[noreturn]] void failAtRecord(std::size_t index) const {
        const std::uint64_t record = content.scans[scanIndex - 1].numRecords - numLeft + index;
        throw LoadError("scan " + std::to_string(scanIndex - 1) + ", point " + std::to_string(record) + ": " +
                        decoder->findBad(index) + " is beyond its maximum" + copyAnew);
    }

    void finish() {
        bDone = true;
        position = file.getSize();
        if (numInvalid > 0)
            facts.notes.push_back(std::to_string(numInvalid) +
                                  (numInvalid == 1
                                       ? " point that is marked as invalid or has no finite place is left out."
                                       : " points that are marked as invalid or have no finite place are left out."));
        if (bCutShort)
            throw LoadError(
                "byte " + std::to_string(file.getSize()) +
                ": the file ends here, before the length that its header tells; it is cut short, copy it anew");
    }
};

}  // namespace

bool isE57(std::string_view firstBytes) {
    return firstBytes.starts_with(signature);
}

std::unique_ptr<PointStream> openE57(const InputFile& file, const PointChoice& choice) {
    std::array<char, signature.size()> first{};
    if (file.getSize() >= first.size()) file.read(0, first);
    if (!isE57({first.data(), first.size()}))
        throw LoadError("byte 0: no E57 file begins here; give it the ending of its true format");
    return std::make_unique<E57Stream>(file, choice);
}

}  // namespace QUOR_ZEF
