#include "processTable.h"

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// A process whose first argument has an empty last component.
TEST(ProcessTable, EmptyNameFindsNothing) {
    const pid_t child = fork();
    if (child == 0) {
        execl("/bin/sleep", "/x/", "60", nullptr);
        _exit(1);
    }
    std::string shown;
    while (shown != "/x/" && kill(child, 0) == 0) {
        std::ifstream file("/proc/" + std::to_string(child) + "/cmdline");
        std::getline(file, shown, '\0');
    }
    EXPECT_EQ(getProcIdByName(""), -1);
    EXPECT_EQ(kill(child, SIGKILL), 0);
    waitpid(child, nullptr, 0);
}

} // namespace
