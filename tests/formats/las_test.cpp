#include "formats/las.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

#include "bytes/LoadError.h"
#include "formats/lasProjection.h"
#include "formats/lazEncoder.h"
#include "support/tempFolder.h"
#include "support/threads.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// What a file gives until it ends or fails.
struct Reading {
    PointBlock block;
    ScanFacts facts;
    std::string fault;
};

Reading readFile(const std::string& name, const PointChoice& choice = {}) {
    Reading result;
    try {
        const InputFile file(name);
        const auto pStream = openLas(file, choice);
        result.facts = pStream->getFacts();
        while (pStream->next(result.block)) {
        }
        result.facts = pStream->getFacts();
    } catch (const LoadError& e) {
        result.fault = e.what();
    }
    return result;
}

Reading readBytes(const std::string& bytes, const PointChoice& choice = {}) {
    static const TempFolder folder;
    return readFile(folder.put("points.las", bytes), choice);
}

// Everything that a block holds, in order.
std::vector<std::array<double, 9>> rowsOf(const PointBlock& block) {
    std::vector<std::array<double, 9>> v;
    for (std::size_t i = 0; i < block.points.size(); ++i) {
        const Point3& p = block.points[i];
        v.push_back({p.px, p.py, p.pz, double(p.bHasColor), double(p.r), double(p.g), double(p.b),
                     double(block.classes.at(i)), double(block.intensities.at(i))});
    }
    return v;
}

// Values that keep, creep, jump and hit the ends of their range.
Records randomRecords(unsigned format, std::size_t numExtra, std::size_t num, unsigned numChannels, unsigned seed) {
    std::mt19937 random(seed);
    std::string record(recordBytes(format) + numExtra, '\1');
    Records records;
    const auto chance = [&](unsigned oneIn) { return random() % oneIn == 0; };
    for (std::size_t i = 0; i < num; ++i) {
        for (std::size_t place = 0; place < 12; place += 4) {
            const auto old = valueIn<std::int32_t>(record, place);
            const auto any = static_cast<std::int32_t>(random());
            const std::int32_t end =
                any & 1 ? std::numeric_limits<std::int32_t>::min() : std::numeric_limits<std::int32_t>::max();
            putValue(record, place, chance(20) ? chance(2) ? end : any : addWrapped(old, any >> (16 + any % 16 / 2)));
        }
        for (std::size_t place = 12; place < record.size(); ++place)
            if (chance(6))
                record[place] = static_cast<char>(chance(2) ? random() : unsigned(record[place]) + random() % 3);
        if (format >= 6)
            record[15] = static_cast<char>((record[15] & 0xcf) | static_cast<int>(random() % numChannels) << 4);
        if (hasTime(format))  // mostly even steps of time, and some to other sequences
            putValue(record, 20, valueIn<std::int64_t>(record, 20) % (std::int64_t{1} << 40) + (chance(9) ? 1 : 1000));
        records.push_back(record);
    }
    return records;
}

void expectTwins(const LasPlan& plan, const Records& records) {
    const Reading las = readBytes(lasFile(plan.format, records)), laz = readBytes(lazFile(plan, records));
    EXPECT_EQ(laz.fault, "");
    EXPECT_GT(las.block.points.size() + 20, records.size() / 4);
    EXPECT_EQ(las.facts.notes, laz.facts.notes);  // of points withheld
    EXPECT_EQ(rowsOf(las.block), rowsOf(laz.block)) << "format " << plan.format << " version " << plan.version;
}

std::string sampleFolder() {
    const char* const pData = std::getenv("ZEF_TEST_DATA");
    return pData ? std::string(pData) + "/formats/" : "";
}

TEST(Las, compressedPointsAreTheOnesThatWereCompressed) {
    for (const unsigned format : {0u, 1u, 2u, 3u, 4u, 5u})
        for (const std::uint32_t chunk : {1u, 2u, 77u, 5000u})
            expectTwins({.format = format, .vChunks = {chunk}},
                        randomRecords(format, chunk % 3, 7 * std::min(chunk, 100u) + 1, 1, chunk));
    for (const unsigned format : {6u, 7u, 8u, 9u, 10u})
        for (const unsigned version : {3u, 4u})
            for (const std::uint32_t chunk : {1u, 2u, 333u, 9000u})
                expectTwins({.format = format, .version = version, .vChunks = {chunk}},
                            randomRecords(format, chunk % 4, chunk > 333 ? 5000 : 3 * chunk + 1, 1 + chunk % 4, chunk));
    // So many that the coder halves what it has counted.
    expectTwins({.format = 3, .vChunks = {40000}}, randomRecords(3, 1, 40000, 1, 4));
    Records grey = randomRecords(7, 0, 900, 3, 5);
    for (std::string& record : grey) record.replace(30, 6, "\1\1\1\1\1\1");
    expectTwins({.format = 7, .version = 3, .vChunks = {300}}, grey);
    expectTwins({.format = 3, .vChunks = {1}, .bPointwise = true}, randomRecords(3, 1, 900, 1, 2));
    expectTwins({.format = 7, .version = 3, .vChunks = {3, 500, 1, 60}, .bVariable = true},
                randomRecords(7, 0, 900, 4, 1));
}

TEST(Las, chunksAreFoundWithoutTheirTable) {
    const Records records = randomRecords(3, 2, 500, 1, 8), layered = randomRecords(7, 0, 500, 2, 9);
    const std::string bytes = lazFile({.format = 3, .vChunks = {160}, .bTable = false}, records);
    EXPECT_EQ(rowsOf(readBytes(bytes).block), rowsOf(readBytes(lasFile(3, records)).block));
    EXPECT_EQ(readBytes(bytes).facts.notes.size(), 2u);
    const Reading laz = readBytes(lazFile({.format = 7, .version = 3, .vChunks = {160}, .bTable = false}, layered));
    EXPECT_EQ(rowsOf(laz.block), rowsOf(readBytes(lasFile(7, layered)).block));
    EXPECT_NE(readBytes(lazFile({.format = 3, .vChunks = {160}, .bVariable = true, .bTable = false}, records)).fault,
              "");
}

TEST(Las, whatNobodyWantsIsLeftOut) {
    const Records records = randomRecords(7, 0, 300, 2, 3);
    const std::string bytes = lazFile({.format = 7, .version = 4, .vChunks = {100}}, records);
    const Reading all = readBytes(bytes), some = readBytes(bytes, {false, false, false, false, {}});
    EXPECT_EQ(all.block.points, some.block.points);
    EXPECT_TRUE(all.block.points[0].bHasColor);
    EXPECT_FALSE(some.block.points[0].bHasColor);
    EXPECT_TRUE(some.block.classes.empty() && some.block.intensities.empty());
}

// Colours of the whole file tell how many bits they have, also those far behind the first block.
TEST(Las, theLargestColorTellsTheBits) {
    Records records(3, std::string(26, '\0'));
    records[1].replace(20, 6, std::string("\x10\0\xff\0\x20\0", 6));
    const auto firstOf = [&] { return readBytes(lasFile(2, records)).block.points.at(1); };
    EXPECT_EQ(firstOf().g, 255);
    EXPECT_EQ(firstOf().a, 255);
    records[2][21] = 1;
    EXPECT_EQ(firstOf().g, 0);
    records[2][21] = 0;
    records.resize(1'050'000, records[2]);
    records.back()[25] = 4;
    EXPECT_EQ(firstOf().g, 0);
    EXPECT_FALSE(readBytes(lasFile(2, {records[0]})).block.points.at(0).bHasColor);
}

TEST(Las, threadsDoNotMatter) {
    const std::string bytes = lazFile({.format = 7, .version = 3, .vChunks = {50}}, randomRecords(7, 1, 2000, 3, 5));
    const ThreadCount one(1);
    const auto rows = rowsOf(readBytes(bytes).block);
    const ThreadCount four(4);
    EXPECT_EQ(rowsOf(readBytes(bytes).block), rows);
}

// Cut anywhere, and with any byte wrong: an end, and never more points than were announced.
TEST(Las, damagedFilesEnd) {
    // The second one is read as items of version 1, which makes no sense of them.
    const LasPlan plans[] = {{.format = 3, .vChunks = {12}},
                             {.format = 3, .version = 1, .vChunks = {20}},
                             {.format = 7, .version = 3, .vChunks = {12}, .bVariable = true}};
    for (const LasPlan& plan : plans) {
        const std::string bytes = lazFile(plan, randomRecords(plan.format, plan.version == 1, 20, 2, 6));
        for (std::size_t i = 0; i < bytes.size(); i += plan.version == 1 ? 7 : 1) {
            const Reading cut = readBytes(bytes.substr(0, i));
            EXPECT_TRUE(cut.fault.rfind("byte ", 0) == 0 || !cut.facts.notes.empty()) << i << cut.fault;
            std::string wrong = bytes;
            wrong[i] = static_cast<char>(~wrong[i]);
            const Reading lie = readBytes(wrong);
            EXPECT_TRUE(lie.fault.empty() || lie.fault.rfind("byte ", 0) == 0) << i << lie.fault;
            EXPECT_LE(lie.block.points.size(), std::max<std::uint64_t>(lie.facts.numPoints, 20)) << i;
        }
    }
}

// More points than there are: those that are there, then the sentence.
TEST(Las, announcedPointsThatAreMissingAreTold) {
    const Records records = randomRecords(6, 0, 50, 1, 7);
    for (std::string bytes : {lasFile(6, records), lazFile({.format = 6, .version = 3, .vChunks = {10}}, records)}) {
        const std::size_t num = readBytes(bytes).block.points.size();
        putValue(bytes, 247, std::uint64_t{1} << 60);
        const Reading lie = readBytes(bytes);
        EXPECT_EQ(lie.block.points.size(), num);
        EXPECT_NE(lie.fault.find("50 of 1152921504606846976 points"), std::string::npos) << lie.fault;
    }
}

TEST(Las, recordsNameTheProjection) {
    const auto keys = [](std::vector<std::uint16_t> v) {
        std::string bytes(2 * v.size(), '\0');
        std::memcpy(bytes.data(), v.data(), bytes.size());
        return bytes;
    };
    const std::string coded = keys({1, 1, 0, 1, 3072, 0, 1, 26917}),
                      cited = keys({1, 1, 0, 2, 3072, 0, 1, 32767, 1026, 34737, 7, 2});
    EXPECT_EQ(nameInGeoKeys(coded, ""), "EPSG:26917");
    EXPECT_EQ(nameInGeoKeys(cited, "x|UTM 17|rest|"), "UTM 17");
    EXPECT_EQ(nameInGeoKeys(cited, "x"), "");
    EXPECT_EQ(nameInWkt("PROJCS[\"UTM zone 17N\",GEOGCS[\"NAD83\"]]"), "UTM zone 17N");
    EXPECT_EQ(nameInWkt("LOCAL"), "");
}

// Records before the points, and behind them with lengths of eight bytes; a list that lies just ends.
TEST(Las, projectionsStandBeforeOrBehindThePoints) {
    const auto record = [](std::uint16_t id, const std::string& data, bool bLate) {
        std::string bytes(bLate ? 60 : 54, '\0');
        bytes.replace(2, 15, "LASF_Projection");
        putValue(bytes, 18, id);
        bLate ? putValue(bytes, 20, std::uint64_t{data.size()})
              : putValue(bytes, 20, static_cast<std::uint16_t>(data.size()));
        return bytes + data;
    };
    const auto fileWith = [&](const std::string& vlr, const std::string& late, std::uint32_t numLate) {
        const Records records(3, std::string(30, '\1'));
        std::string bytes = lasHeader(6, records, false, vlr.size()) + vlr;
        for (const std::string& point : records) bytes += point;
        putValue(bytes, 235, std::uint64_t{bytes.size()});
        putValue(bytes, 243, numLate);
        return bytes + late;
    };
    std::string keys;
    for (const int key : {1, 1, 0, 1, 1026, 34737, 5, 0}) putValue(keys, keys.size(), static_cast<std::uint16_t>(key));
    const std::string wkt = "PROJCS[\"UTM 17\",GEOGCS[\"NAD83\"]]", other = record(1, "x", true);
    const auto projectionOf = [&](const std::string& bytes) {
        const Reading reading = readBytes(bytes);
        EXPECT_EQ(reading.fault, "");
        EXPECT_EQ(reading.block.points.size(), 3u);
        return reading.facts.projection;
    };
    EXPECT_EQ(projectionOf(fileWith(record(2112, wkt, false), "", 0)), "UTM 17");
    EXPECT_EQ(projectionOf(fileWith("", other + record(2112, wkt, true), 2)), "UTM 17");
    EXPECT_EQ(projectionOf(fileWith("", record(34735, keys, true) + record(34737, "Utah|", true), 2)), "Utah");
    EXPECT_EQ(projectionOf(fileWith("", other + record(2112, wkt, true), 1)), "");
    EXPECT_EQ(projectionOf(fileWith("", other + record(2112, wkt, true).substr(0, 70), 9)), "");
}

// Real ones, if the environment names a folder of them.
TEST(Las, samplesAndTheirTwinsAgree) {
    const std::string folder = sampleFolder();
    if (folder.empty()) return;
    const Reading las = readFile(folder + "simple.las"), laz = readFile(folder + "simple.laz");
    ASSERT_EQ(las.block.points.size(), 1065u);
    EXPECT_EQ(rowsOf(las.block), rowsOf(laz.block));
    const auto sorted = [&](const std::string& name) {
        auto rows = rowsOf(readFile(folder + name).block);
        for (auto& row : rows)
            for (std::size_t i = 0; i < 3; ++i) row[i] = std::round(row[i] * 100.0);
        std::sort(rows.begin(), rows.end());
        return rows;
    };
    EXPECT_EQ(sorted("1.2-with-color.las"), sorted("1.2-with-color.copc.laz"));
    EXPECT_EQ(readFile(folder + "1.2-with-color.copc.laz").facts.projection,
              "NAD83 / Oregon LCC (m) + NAVD88 height (ftUS)");
    const Reading late = readFile(folder + "test1_4.las");
    ASSERT_EQ(late.block.points.size(), 1000u);
    const auto [low, high] = std::minmax_element(late.block.points.begin(), late.block.points.end());
    EXPECT_NEAR(low->px, 1694038.4456, 1e-4);  // the box of the header
    EXPECT_NEAR(high->px, 1694539.6770, 1e-4);
}

}  // namespace
