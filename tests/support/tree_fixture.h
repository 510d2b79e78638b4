#pragma once
// A database with suites and items laid out by the test, for the tree and clipboard tests:
// documents hold just the tags those read.

#include <filesystem>
#include <string>

#include "storage/tagged_document.h"
#include "support/document_fixture.h"
#include "workspace/navigation.h"

namespace vantorel::testing {

class TreeTest : public DocumentTest {
protected:
    std::filesystem::path Doc(const std::filesystem::path& folder, const std::string& id,
                              const std::string& status = "Pass", const std::string& title = "") {
        std::filesystem::create_directories(folder);
        const std::filesystem::path path = folder / (id + ".vtl");
        WriteFile(path, "<?xml version=\"1.0\"?>\n<test_case>\n<id>" + id + "</id>\n<title>" +
                            title + "</title>\n<test_status>" + status +
                            "</test_status>\n</test_case>\n");
        return path;
    }
    // A suite folder with its description beside it.
    std::filesystem::path Suite(const std::filesystem::path& folder) {
        std::filesystem::create_directories(folder);
        WriteFile(std::filesystem::path(folder.string() + ".tgp"),
                  "<?xml version=\"1.0\"?>\n<test_suite>\n<id>" + folder.filename().string() +
                      "</id>\n</test_suite>\n");
        return folder;
    }
    TreeNode Node(const std::filesystem::path& path) {
        return {path, NodeKindOf(db, path),
                path.extension() == ".vtl" ? path.stem().string() : path.filename().string()};
    }
    std::string IdOf(const std::filesystem::path& document) {
        XMLParse doc;
        std::string id;
        if (doc.OpenRead(document) == 0 && doc.Load() == 0)
            doc.GetTag("<id>", id);
        return id;
    }
};

}  // namespace vantorel::testing
