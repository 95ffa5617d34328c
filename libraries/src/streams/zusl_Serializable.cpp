#include "zusl_Serializable.h"

#include "zutl_ByteOrder.h"
#include "zutl_Exception.h"
#include "zutl_File.h"

#include <fcntl.h>
#include <memory>

namespace zusl {

namespace {

// The object file form:
//
//     offset  size
//     0       2     type id
//     2       4     N, the length of the binary form
//     6       N     the binary form
constexpr size_t typeIdOffset = 0;
constexpr size_t lengthOffset = 2;
constexpr size_t headerSize = 6;

using Buffer = std::unique_ptr<unsigned char[]>;

bool writeForm(const Serializable& object, const char* path, unsigned char* buffer, unsigned int length) {
    const zutl::File file(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file.isOpen() || object.toBin(buffer) != length)
        return false;
    unsigned char header[headerSize];
    zutl::store16(header + typeIdOffset, static_cast<std::uint16_t>(object.getTypeId()));
    zutl::store32(header + lengthOffset, length);
    return zutl::writeAll(file.get(), header, sizeof header) && zutl::writeAll(file.get(), buffer, length);
}

bool readForm(Serializable& object, const char* path) {
    const zutl::File file(path, O_RDONLY);
    unsigned char header[headerSize];
    if (!file.isOpen() || !zutl::readAll(file.get(), header, sizeof header) ||
        zutl::load16(header + typeIdOffset) != object.getTypeId())
        return false;
    const std::uint32_t length = zutl::load32(header + lengthOffset);
    // A length that the file does not hold must not be allocated.
    std::uint64_t fileSize = 0;
    if (!zutl::sizeOf(file.get(), fileSize) || fileSize < std::uint64_t{headerSize} + length)
        return false;
    const Buffer buffer(new unsigned char[length]);
    return zutl::readAll(file.get(), buffer.get(), length) && object.fromBin(buffer.get(), length) == length;
}

} // namespace

bool Serializable::toFile(const char* path) const {
    const unsigned int length = getBinLength();
    const Buffer buffer(new unsigned char[length]);
    try {
        return writeForm(*this, path, buffer.get(), length);
    } catch (...) {
        return false;
    }
}

bool Serializable::fromFile(const char* path) {
    try {
        return readForm(*this, path);
    } catch (...) {
        return false;
    }
}

void throwFromBinFailed() {
    throw zutl::Exception("zusl::Serializable::fromBin() - Failed!");
}

} // namespace zusl
