// The client in C, compiled as C++, as a unit test.
#include "support/streamfiles.h"
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tramostream/c.h>

namespace {

#define main client
#include "c/client.c"
#undef main

TEST(CInterface, client_reads_changes_and_checks_files) {
    const streams::TempFolder folder;
    std::string program = "client", returned = SAMPLES "/round-returned.txt", broken = SAMPLES "/round-broken.txt",
                changed = folder.path("changed.txt");
    char* arguments[] = {program.data(), returned.data(), broken.data(), changed.data()};
    EXPECT_EQ(client(4, arguments), 0);
}

}  // namespace
