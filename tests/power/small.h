#pragma once
// The program's costs on a small device. Both functions work in the directory "html" of a mounted medium.

// The body of a process whose first argument is "app": an application that takes memory.
int runApplication(void);

// Locks memory until 16 MB are left, and posts forms while an application takes more and more of it. Prints
// "memory FREE HELD LENGTH CONFIRMED REFUSED UNANSWERED APPLICATION" for each kind of request, in KB and
// requests.
void measureMemory(const char* program);

// Prints "time FILESYSTEM WRITE PROCESS UNSIGNALLED SAVE", mean microseconds: of truncating, writing and
// syncing a file; of a process that does nothing; of a save of the same text, without and with looking for
// the application.
void measureTime(const char* fileSystem, const char* program);
