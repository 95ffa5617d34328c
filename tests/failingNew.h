#pragma once
// An operator new that counts, and fails on demand. It replaces the one of programs that link failingNew.cpp.

namespace allocations {

extern long untilFailure; // the allocation that fails, counted from here; 0 for none. Back at 0 once it has
extern long made;         // since the program began
extern long live;         // not released yet

} // namespace allocations
