#pragma once
// Finds processes in "/proc".

// Returns the id of the first process whose program, the last path component of its first argument, has
// exactly this name; -1 if there is none, if the name is empty, or if "/proc" cannot be read.
int getProcIdByName(const char* name);
