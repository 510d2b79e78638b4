#pragma once
// A database folder for document tests, with a recording port, a fixed clock and a fixed
// identity, so saved documents and history blocks are predictable.

#include <gtest/gtest.h>

#include <ostream>

#include "documents/custom_cfg.h"
#include "documents/item_editor.h"
#include "support/recording_port.h"
#include "support/temp_dir.h"

namespace vantorel {

// A refused save reads as its caption and field in a failed expectation.
inline void PrintTo(const SaveRefusal& refusal, std::ostream* out) {
    *out << "refused \"" << refusal.notice.caption << "\" at field ";
    if (refusal.field)
        *out << *refusal.field;
    else
        *out << "none";
}

}  // namespace vantorel

namespace vantorel::testing {

class DocumentTest : public ::testing::Test {
protected:
    DocumentTest() {
        for (const char* folder :
             {"Test Cases", "Projects", "Resources", "Test Configurations", "Testers", "Filters"})
            std::filesystem::create_directories(db / folder);
    }

    EditorContext Context() {
        return {port, custom, {"bench-7", "dana"}, [this] { return clock; }};
    }

    TempDir dir;
    const std::filesystem::path db = dir.path() / "DB";
    RecordingPort port;
    CustomCfg custom;
    LocalMoment clock{{2026, 11, 21}, {10, 30, 0}};
};

}  // namespace vantorel::testing
