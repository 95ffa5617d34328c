#include "zusl_Serializable.h"

#include "zusl_ObjectFile.h"
#include "zutl_ByteOrder.h"
#include "zutl_Exception.h"
#include "zutl_File.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <utility>

namespace zusl {

namespace {

using Buffer = std::unique_ptr<unsigned char[]>;

bool writeObjectFile(const Serializable& object, const char* path, unsigned char* buffer,
                     unsigned int length) {
    const zutl::File file(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file.isOpen() || object.toBin(buffer) != length)
        return false;
    unsigned char header[objectFileHeaderSize];
    zutl::store16(header + objectFileTypeOffset, static_cast<std::uint16_t>(object.getTypeId()));
    zutl::store32(header + objectFileLengthOffset, length);
    return zutl::writeAll(file.get(), header, sizeof header) && zutl::writeAll(file.get(), buffer, length);
}

// Reads exactly `length` bytes; null if there are fewer. The length is not trusted: memory grows with the
// bytes that were read, so that the source may be anything that can be read.
Buffer readBytes(int descriptor, size_t length) {
    constexpr size_t firstCapacity = 65536; // bytes
    size_t capacity = std::min(length, firstCapacity);
    Buffer buffer(new unsigned char[capacity]);
    for (size_t used = 0;;) {
        if (!zutl::readAll(descriptor, buffer.get() + used, capacity - used))
            return nullptr;
        used = capacity;
        if (used == length)
            return buffer;
        capacity = length - used > used ? 2 * used : length;
        Buffer larger(new unsigned char[capacity]);
        std::memcpy(larger.get(), buffer.get(), used);
        buffer = std::move(larger);
    }
}

bool readObjectFile(Serializable& object, const char* path) {
    const zutl::File file(path, O_RDONLY);
    unsigned char header[objectFileHeaderSize];
    if (!file.isOpen() || !zutl::readAll(file.get(), header, sizeof header) ||
        zutl::load16(header + objectFileTypeOffset) != object.getTypeId())
        return false;
    const std::uint32_t length = zutl::load32(header + objectFileLengthOffset);
    const Buffer buffer = readBytes(file.get(), length);
    return buffer != nullptr && object.fromBin(buffer.get(), length) == length;
}

} // namespace

bool Serializable::toFile(const char* path) const {
    const unsigned int length = getBinLength();
    const Buffer buffer(new unsigned char[length]);
    try {
        return writeObjectFile(*this, path, buffer.get(), length);
    } catch (...) {
        return false;
    }
}

bool Serializable::fromFile(const char* path) {
    try {
        return readObjectFile(*this, path);
    } catch (...) {
        return false;
    }
}

void throwFromBinFailed() {
    throw zutl::Exception("zusl::Serializable::fromBin() - Failed!");
}

} // namespace zusl
