#include "cli/tables/zipwriter.h"
#include "cli/io/platform.h"
#include <array>
#include <cerrno>
#include <initializer_list>
#include <new>

namespace tramo::cli {

namespace {

constexpr int rawDeflate = -15, memoryLevel = 8;
constexpr int level = 2;  // half the time of the usual one, for a tenth more bytes

struct Number {
    std::uint64_t value;
    int bytes;
};

// Appends numbers, each with the lowest byte first.
void append(std::string& out, std::initializer_list<Number> numbers) {
    for (const Number& number : numbers)
        for (int i = 0; i < number.bytes; ++i) out += static_cast<char>(number.value >> (8 * i) & 0xFF);
}

constexpr Number version{20, 2}, noFlags{0, 2}, deflated{8, 2}, midnight{0, 2}, firstDayOf1980{1 << 5 | 1, 2};

}  // namespace

ZipMember::ZipMember() {
    if (deflateInit2(&stream, level, Z_DEFLATED, rawDeflate, memoryLevel, Z_DEFAULT_STRATEGY) != Z_OK) throw std::bad_alloc();
}

ZipMember::~ZipMember() { deflateEnd(&stream); }

void ZipMember::write(std::string_view bytes) {
    sum = crc32_z(sum, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
    compress(bytes, Z_NO_FLUSH);
}

void ZipMember::end() { compress({}, Z_FINISH); }

void ZipMember::compress(std::string_view bytes, int flush) {
    std::array<char, 1 << 14> block;
    stream.next_in = reinterpret_cast<const Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    do {
        stream.next_out = reinterpret_cast<Bytef*>(block.data());
        stream.avail_out = static_cast<uInt>(block.size());
        deflate(&stream, flush);
        product.append(block.data(), block.size() - stream.avail_out);
    } while (stream.avail_out == 0);
}

void ZipWriter::add(const std::string& memberName, const ZipMember& member) {
    const std::uint64_t place = written;
    const std::string& content = member.compressed();
    std::string header;
    append(header, {version, noFlags, deflated, midnight, firstDayOf1980, {member.checksum(), 4}, {content.size(), 4},
                       {member.size(), 4}, {memberName.size(), 2}, {0, 2}});
    write("PK\3\4");
    write(header);
    write(memberName);
    write(content);

    append(directory, {{0x02014B50, 4}, version});
    directory += header;
    append(directory, {{0, 2}, {0, 2}, {0, 2}, {0, 4}, {place, 4}});
    directory += memberName;
    ++members;
}

void ZipWriter::add(const std::string& memberName, std::string_view content) {
    ZipMember member;
    member.write(content);
    member.end();
    add(memberName, member);
}

void ZipWriter::commit() {
    std::string end = "PK\5\6";
    append(end, {{0, 2}, {0, 2}, {members, 2}, {members, 2}, {directory.size(), 4}, {written, 4}, {0, 2}});
    write(directory);
    write(end);
    file.commit();
}

void ZipWriter::write(std::string_view bytes) {
    written += bytes.size();
    if (written > ZipMember::mostBytes) throw WriteFailed{name, EFBIG};
    file.write(bytes);
}

}  // namespace tramo::cli
