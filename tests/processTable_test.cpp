#include "processTable.h"

#include <csignal>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

TEST(ProcessTable, EmptyNameFindsNothing) {
    char folder[] = "/x/", seconds[] = "60"; // the last component of its first argument is empty
    char* const arguments[] = {folder, seconds, nullptr};
    pid_t child = -1;
    ASSERT_EQ(posix_spawn(&child, "/bin/sleep", nullptr, nullptr, arguments, environ), 0);
    EXPECT_EQ(getProcIdByName(""), -1);
    EXPECT_EQ(kill(child, SIGKILL), 0);
    waitpid(child, nullptr, 0);
}
