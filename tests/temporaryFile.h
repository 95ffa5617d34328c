#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

// A temporary file; the destructor removes it.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& bytes = "") {
        close(mkstemp(name.data()));
        std::ofstream(name, std::ios::binary) << bytes;
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { std::remove(path()); }

    const char* path() const { return name.c_str(); }
    std::string bytes() const {
        std::ifstream file(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string name = "/tmp/zu_test.XXXXXX";
};
