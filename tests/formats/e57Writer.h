#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/plyText.h"

namespace zef_test {

// Makes small E57 files, plainly and slowly.

struct E57TestField {
    std::string name, attributes;
    unsigned numBits = 0;
    std::vector<std::uint64_t> packed;
    std::string behind = {};  // in the XML part
};

struct E57TestScan {
    std::vector<E57TestField> fields;
    std::string xml;  // further elements
    std::uint64_t numRecords = 0;
    std::string offset = {};                 // another one than the true one
    std::vector<E57TestField> restart = {};  // records behind the others, in packets that begin anew
    std::string codec = {};                  // the name of one
};

inline std::uint32_t slowCrc(const std::string& bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int i = 0; i < 8; ++i) crc = (crc & 1) ? (crc >> 1) ^ 0x82F63B78 : crc >> 1;
    }
    return ~crc;
}

inline std::string toPages(std::string payload) {
    std::string file;
    payload.resize((payload.size() + 1019) / 1020 * 1020);
    for (std::size_t i = 0; i < payload.size(); i += 1020) {
        const std::string page = payload.substr(i, 1020);
        file += page + bytesOf(__builtin_bswap32(slowCrc(page)));
    }
    return file;
}

inline std::string packBits(const E57TestField& field) {
    std::string bytes((field.packed.size() * field.numBits + 7) / 8, '\0');
    std::size_t bit = 0;
    for (const std::uint64_t value : field.packed)
        for (unsigned i = 0; i < field.numBits; ++i, ++bit)
            if ((value >> i & 1) != 0) bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
    return bytes;
}

// Buffers of a packet differ in length, so that values lie across packets; behind the first
// one stand an index packet and an empty one.
inline std::string makePackets(const std::vector<E57TestField>& vFields, std::size_t packetBytes) {
    std::vector<std::string> vStreams;
    for (const E57TestField& field : vFields) vStreams.push_back(packBits(field));
    std::string packets;
    for (bool bMore = true; bMore;) {
        bMore = false;
        std::string lengths, buffers;
        for (std::size_t i = 0; i < vStreams.size(); ++i) {
            const std::string part = vStreams[i].substr(0, packetBytes + i);
            vStreams[i].erase(0, part.size());
            bMore = bMore || !vStreams[i].empty();
            lengths += bytesOf(static_cast<std::uint16_t>(part.size()));
            buffers += part;
        }
        std::string body = bytesOf(static_cast<std::uint16_t>(vStreams.size())) + lengths + buffers;
        body.resize((body.size() + 3) / 4 * 4);
        const bool bFirst = packets.empty();
        packets += std::string("\1\0", 2) + bytesOf(static_cast<std::uint16_t>(body.size() + 3)) + body;
        if (bFirst) packets += std::string("\0\0\13\0", 4) + std::string(8, '\7') + std::string("\2\0\7\0....", 8);
    }
    return packets;
}

inline std::uint64_t physicalOf(std::size_t logical) {
    return logical / 1020 * 1024 + logical % 1020;
}

// The payload, for toPages().
inline std::string makeE57(const std::vector<E57TestScan>& vScans, std::size_t packetBytes) {
    std::string payload(48, '\0');
    std::string xml = "<?xml version=\"1.0\"?>\n<e57Root type=\"Structure\"><data3D type=\"Vector\">";
    for (const E57TestScan& scan : vScans) {
        std::string packets = makePackets(scan.fields, packetBytes);
        if (!scan.restart.empty()) packets += makePackets(scan.restart, packetBytes).replace(1, 1, "\1");
        const std::string offset = scan.offset.empty() ? std::to_string(physicalOf(payload.size())) : scan.offset;
        xml += "<vectorChild type=\"Structure\">" + scan.xml + "<points type=\"CompressedVector\" fileOffset=\"" +
               offset + "\" recordCount=\"" + std::to_string(scan.numRecords) + "\"><prototype type=\"Structure\">";
        for (const E57TestField& field : scan.fields)
            xml += "<" + field.name + " " + field.attributes + "/>" + field.behind;
        xml += "</prototype><codecs type=\"Vector\">";
        if (!scan.codec.empty()) xml += "<vectorChild><inputs/><" + scan.codec + "/></vectorChild>";
        xml += "</codecs></points></vectorChild>";
        payload += std::string("\1\0\0\0\0\0\0\0", 8) + bytesOf(std::uint64_t{packets.size() + 32}) +
                   bytesOf(physicalOf(payload.size() + 32)) + bytesOf(std::uint64_t{0}) + packets;
    }
    xml += "</data3D></e57Root>\n";
    const std::size_t numPages = (payload.size() + xml.size() + 1019) / 1020;
    payload.replace(0, 48,
                    "ASTM-E57" + bytesOf(std::uint32_t{1}, std::uint32_t{0}) +
                        bytesOf(std::uint64_t{numPages * 1024}, physicalOf(payload.size()), std::uint64_t{xml.size()},
                                std::uint64_t{1024}));
    return payload + xml;
}

}  // namespace zef_test
