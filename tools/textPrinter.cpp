// For people: one line for each object and remark, led by its offset.

#include "escaped.h"
#include "visitor.h"

#include <algorithm>

namespace dump {

namespace {

// Bytes without a meaning say little in full.
constexpr unsigned int mostBytesShown = 32;

class TextPrinter : public Visitor {
public:
    explicit TextPrinter(std::FILE* to) : out(to) {}

    void beginFile(std::string_view path, const char* kind, size_t size) override {
        std::fputs(escaped(path).c_str(), out);
        std::fprintf(out, ": %s, %s\n", kind, amountOf(size).c_str());
    }
    void endFile(bool /*isWhole*/) override {}
    void unreadable(std::string_view /*path*/, const char* /*reason*/) override {}
    void finish() override {}

    void beginObject(const Object& object) override {
        beginLine(object.offset);
        const bool isEntry = object.key != nullptr;
        lead = isEntry ? " = " : ": ";
        entryType = isEntry ? lead + typeText(object) : std::string();
        if (isEntry)
            quote(*object.key);
        else
            std::fputs(typeText(object).c_str(), out);
    }
    void value(std::string_view value) override {
        std::fputs(lead, out);
        quote(value);
    }
    void value(int value) override { std::fprintf(out, "%s%d", lead, value); }
    void value(Block value) override {
        const unsigned int shown = std::min(value.length, mostBytesShown);
        for (unsigned int position = 0; position < shown; ++position)
            std::fprintf(out, "%s%02X", position == 0 ? lead : " ", value.from[position]);
        if (shown < value.length)
            std::fprintf(out, " and %u more", value.length - shown);
    }
    void beginItems() override {
        std::fputs(entryType.c_str(), out);
        ++depth;
    }
    void endItems() override {
        if (isInLine)
            std::fputs(": empty", out);
        --depth;
    }
    void endObject() override { endLine(); }

    void remark(Remark kind, unsigned int offset, const std::string& remark) override {
        beginLine(offset);
        std::fprintf(out, "%s: %s", kind == Remark::note ? "note" : "damaged", remark.c_str());
        endLine();
    }

private:
    void beginLine(unsigned int offset) {
        endLine();
        isInLine = true;
        std::fprintf(out, "%08X  %*s", offset, 2 * depth, "");
    }
    void endLine() {
        if (isInLine)
            std::putc('\n', out);
        isInLine = false;
    }
    void quote(std::string_view text) {
        std::putc('"', out);
        std::fputs(escaped(text).c_str(), out);
        std::putc('"', out);
    }
    static std::string typeText(const Object& object) {
        const char* const name = object.typeName.empty() ? "unknown type" : object.typeName.c_str();
        const std::string type = zutl::String::fromFormat("%s (%u)", name, object.typeId);
        return object.length.has_value() ? type + ", " + amountOf(*object.length) : type;
    }

    std::FILE* const out;
    int depth = 0;
    bool isInLine = false;
    const char* lead = ""; // printed before a value
    std::string entryType; // of a map's value; printed when it holds others
};

} // namespace

std::unique_ptr<Visitor> textPrinter(std::FILE* to) {
    return std::make_unique<TextPrinter>(to);
}

} // namespace dump
