// For scripts: an array with an object for each file.

#include "visitor.h"
#include "zutl_Json.h"

namespace dump {

namespace {

class JsonPrinter : public Visitor {
public:
    explicit JsonPrinter(std::FILE* to) : out(to) { std::putc('[', out); }

    void beginFile(std::string_view path, const char* kind, size_t size) override {
        beginElement();
        text("file", path);
        text("kind", kind);
        number("size", static_cast<long long>(size));
        beginArray("objects");
    }
    void endFile(bool isWhole) override {
        endArray();
        key("whole");
        std::fputs(isWhole ? "true}" : "false}", out);
    }
    void unreadable(std::string_view path, const char* reason) override {
        beginElement();
        text("file", path);
        text("error", reason);
        std::putc('}', out);
    }

    void beginObject(const Object& object) override {
        beginElement();
        number("offset", object.offset);
        if (object.key != nullptr)
            text("key", *object.key);
        number("type", object.typeId);
        if (!object.typeName.empty())
            text("typeName", object.typeName);
        if (object.length.has_value())
            number("length", *object.length);
    }
    void value(std::string_view value) override { text("value", value); }
    void value(int value) override { number("value", value); }
    void value(Block value) override { hex("valueHex", value); }
    void beginItems() override { beginArray("value"); }
    void endItems() override { endArray(); }
    void endObject() override { std::putc('}', out); }

    void remark(Remark kind, unsigned int offset, const std::string& remark) override {
        beginElement();
        number("offset", offset);
        text(kind == Remark::note ? "note" : "damage", remark);
        std::putc('}', out);
    }
    void finish() override { std::fputs("\n]\n", out); }

private:
    // Each element of an array is an object and begins a line.
    void beginElement() {
        std::fprintf(out, "%s\n%*s{", isFirst ? "" : ",", 2 * depth, "");
        isFirst = true;
    }
    void beginArray(const char* name) {
        key(name);
        std::putc('[', out);
        isFirst = true;
        ++depth;
    }
    void endArray() {
        std::putc(']', out);
        isFirst = false;
        --depth;
    }
    void key(const char* name) {
        std::fprintf(out, "%s\"%s\": ", isFirst ? "" : ", ", name);
        isFirst = false;
    }
    void number(const char* name, long long value) {
        key(name);
        std::fprintf(out, "%lld", value);
    }
    // The exact bytes follow where a text cannot hold them.
    void text(const char* name, std::string_view text) {
        key(name);
        std::string json;
        const bool isExact = zutl::appendJsonString(json, text);
        std::fwrite(json.data(), 1, json.size(), out);
        if (!isExact)
            hex((std::string(name) + "Hex").c_str(), {reinterpret_cast<const unsigned char*>(text.data()),
                                                      static_cast<unsigned int>(text.size())});
    }
    void hex(const char* name, Block bytes) {
        key(name);
        std::putc('"', out);
        for (; bytes.length > 0; bytes.skip(1))
            std::fprintf(out, "%02X", *bytes.from);
        std::putc('"', out);
    }
    std::FILE* const out;
    int depth = 1;
    bool isFirst = true; // in the innermost array or object
};

} // namespace

std::unique_ptr<Visitor> jsonPrinter(std::FILE* to) {
    return std::make_unique<JsonPrinter>(to);
}

} // namespace dump
