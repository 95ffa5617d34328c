#include "zusl_Serializable.h"

#include "zusl_ObjectFile.h"
#include "zutl_ByteOrder.h"
#include "zutl_Exception.h"
#include "zutl_File.h"

#include <fcntl.h>
#include <memory>

namespace zusl {

namespace {

using Buffer = std::unique_ptr<unsigned char[]>;

bool writeForm(const Serializable& object, const char* path, unsigned char* buffer, unsigned int length) {
    const zutl::File file(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file.isOpen() || object.toBin(buffer) != length)
        return false;
    unsigned char header[objectFileHeaderSize];
    zutl::store16(header + objectFileTypeOffset, static_cast<std::uint16_t>(object.getTypeId()));
    zutl::store32(header + objectFileLengthOffset, length);
    return zutl::writeAll(file.get(), header, sizeof header) && zutl::writeAll(file.get(), buffer, length);
}

bool readForm(Serializable& object, const char* path) {
    const zutl::File file(path, O_RDONLY);
    unsigned char header[objectFileHeaderSize];
    if (!file.isOpen() || !zutl::readAll(file.get(), header, sizeof header) ||
        zutl::load16(header + objectFileTypeOffset) != object.getTypeId())
        return false;
    const std::uint32_t length = zutl::load32(header + objectFileLengthOffset);
    // A length that the file does not hold must not be allocated.
    std::uint64_t fileSize = 0;
    if (!zutl::sizeOf(file.get(), fileSize) || fileSize < std::uint64_t{objectFileHeaderSize} + length)
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
