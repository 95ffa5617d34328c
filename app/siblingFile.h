#pragma once
// The sibling in which a file's new text is made ready: the file's name, a point, and the process id of the
// request. The id keeps requests that run at once apart, and tells which siblings were left by requests that
// were killed.

#include "zutl_String.h"

// The name of this request's sibling, and whether the file has to go when the object does.
class SiblingFile {
public:
    explicit SiblingFile(const char* name);
    SiblingFile(const SiblingFile&) = delete;
    SiblingFile& operator=(const SiblingFile&) = delete;
    ~SiblingFile();

    const char* path() const { return siblingPath.c_str(); }
    void removeWhenDone() { remove = true; }
    void keep() { remove = false; }

private:
    zutl::String siblingPath;
    bool remove = false;
};

// Removes from the working directory the siblings of `name` whose requests no longer run.
void clearLeftSiblings(const char* name);
