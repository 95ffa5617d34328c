#pragma once
// Looking things up in the process table under "/proc".

#include <sys/types.h>

// The id of the first process whose program, the last path component of its first argument, has exactly this
// name; -1 when there is none or the table cannot be read.
int getProcIdByName(const char* name);

// Whether another process of this id runs under the program name of this one. True also when that cannot be
// told.
bool runsThisProgram(pid_t id);
