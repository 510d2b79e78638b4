#include "exchange/about.h"

#include <gtest/gtest.h>

#include <regex>

#include "reports/command_line.h"

namespace vantorel::testing {
namespace {

TEST(About, TheBoxAndTheCommandLineTellTheSameVersionAndLibraries) {
    const std::string about = AboutText("6.4.2");
    EXPECT_TRUE(about.starts_with("Vantorel V3.2 (build 1000)\n\n")) << about;
    EXPECT_EQ(VersionText(), "vantorel 3.2 (build 1000)\n");
    EXPECT_TRUE(about.ends_with(CreditsText("6.4.2")));
    EXPECT_NE(about.find("Licensed under the Apache License, Version 2.0.\n"), std::string::npos);
    // Every library with a version the program really runs with.
    for (const char* library :
         {"Qt 6\\.4\\.2 \\(LGPL-3\\.0\\)", "libsodium \\d+\\.\\d+\\.\\d+ \\(ISC\\)",
          "giflib \\d+\\.\\d+\\.\\d+ \\(MIT\\)"})
        EXPECT_TRUE(std::regex_search(about, std::regex(std::string("\n") + library + "\n")))
            << library;
}

}  // namespace
}  // namespace vantorel::testing
