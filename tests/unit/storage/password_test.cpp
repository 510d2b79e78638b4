#include "storage/password.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

TEST(Password, StoredHashChecksTheTypedPasswordOnly) {
    const std::string stored = HashPassword("s3cret");
    EXPECT_TRUE(stored.starts_with("$argon2id$")) << stored;
    EXPECT_EQ(stored.find("s3cret"), std::string::npos);
    EXPECT_TRUE(CheckPassword(stored, "s3cret"));
    EXPECT_FALSE(CheckPassword(stored, "S3cret"));
    EXPECT_FALSE(CheckPassword("", ""));
    EXPECT_NE(HashPassword("s3cret"), stored) << "each hash has its own salt";
}

}  // namespace
}  // namespace vantorel
