#include "platform/identity.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace vantorel {
namespace {

TEST(Identity, TheEnvironmentMayNameTheComputerAndTheUser) {
    ::unsetenv("VANTOREL_COMPUTER");
    ::unsetenv("VANTOREL_USER");
    const UserIdentity system = CurrentIdentity();
    EXPECT_FALSE(system.computer.empty());
    EXPECT_FALSE(system.user.empty());

    ::setenv("VANTOREL_COMPUTER", "PC-BOB", 1);
    ::setenv("VANTOREL_USER", "bob", 1);
    const UserIdentity named = CurrentIdentity();
    ::unsetenv("VANTOREL_COMPUTER");
    ::unsetenv("VANTOREL_USER");
    EXPECT_EQ(named.computer, "PC-BOB");
    EXPECT_EQ(named.user, "bob");

    ::setenv("VANTOREL_USER", "", 1);
    EXPECT_EQ(CurrentIdentity().user, system.user) << "an empty name names nobody";
    ::unsetenv("VANTOREL_USER");
}

}  // namespace
}  // namespace vantorel
