#include "zusl_Stream.h"

#include "zu_Functions.h"
#include "zust_Wait.h"
#include "zutl_String.h"

namespace zusl {

namespace {

constexpr unsigned int pollingStepMs = 1;
constexpr const char* endOfFileName = "zusl_EndOfFile";

} // namespace

bool IStream::wait(unsigned int timeoutMs) const {
    const std::uint32_t start = zu_tickcount();
    while (!zust::hasRunOut(timeoutMs, start, zu_tickcount())) {
        if (!isEmpty())
            return true;
        zust::Wait(pollingStepMs);
    }
    return false;
}

bool IStream::isEOF() const {
    return !isEmpty() && getNextType() == EndOfFile::typeId;
}

bool OStream::getNextObject(IStream& source, unsigned char*& data, unsigned int& length) {
    return source.readNextObject(data, length);
}

unsigned int EndOfFile::getTypeId() const {
    return typeId;
}

std::string EndOfFile::getTypeName() const {
    return endOfFileName;
}

std::string EndOfFile::toXML() const {
    return toXML(endOfFileName);
}

std::string EndOfFile::toXML(const char* name) const {
    return name == nullptr ? std::string() : zutl::String::fromFormat("<%s/>", name);
}

bool EndOfFile::fromXML(const char* /*xml*/) {
    return true;
}

unsigned int EndOfFile::getBinLength() const {
    return 0;
}

unsigned int EndOfFile::toBin(unsigned char* /*buffer*/) const {
    return 0;
}

unsigned int EndOfFile::fromBin(const unsigned char* /*data*/, unsigned int /*length*/) {
    return 0;
}

} // namespace zusl
