#pragma once
// PrjTestCase: the execution record of one test inside a project, made from a library test
// case and carrying the outcome of every run and the history of its status changes.

#include <memory>

#include "documents/history.h"
#include "documents/item_editor.h"

namespace vantorel {

const ItemKind& PrjTestCaseKind();

// Points the internal links of one rich-text field at the project: in every "vantorel://"
// link (any letter case) the part up to the first "/" after the scheme becomes
// "vantorel://<project>/Project Test Cases". A link with no further "/" ends the rewriting.
// The text is left as it was, and false returned, when the result would not fit a field.
bool ConvertVantorelLinks(std::string& text, std::string_view project);

// The project an item inside "Projects/<project>/Project Test Cases" belongs to.
std::optional<std::string> ProjectOf(const std::filesystem::path& item);

// One row of the history table.
struct HistoryRow {
    std::string date;  // "d-MMM-yyyy, HH:mm:ss"
    std::string type;  // "Test Creation" or "Test Update"
    std::string oldStatus, newStatus, attempts, phase, version, build;
};

class PrjTestCase : public ItemEditor {
public:
    // Writes a project test case at target from the library test case at source: the copied
    // fields, execution fields at their creation values, internal links pointed at the
    // project, and one ET_NEW block. target must lie in a project's "Project Test Cases"
    // tree. False after telling the user.
    static bool Convert(const std::filesystem::path& source, const std::filesystem::path& target,
                        EditorContext context);

    static std::unique_ptr<PrjTestCase> Edit(const std::filesystem::path& path,
                                             EditorContext context);
    static std::unique_ptr<PrjTestCase> New(const std::filesystem::path& folder,
                                            EditorContext context, bool automaticId = true);

    // The next free automatic ID of folder, reserved until the item is saved or abandoned.
    static std::unique_ptr<IdReservation> GetIncrementalID(const std::filesystem::path& folder,
                                                           UserPort& port);

    const std::vector<HistoryBlock>& History() const { return m_history; }
    std::vector<HistoryRow> HistoryRows() const;

    // True when there is no block yet or candidate differs from the last block in tries, new
    // status, build, version or phase.
    bool HistoryUpdateRequired(const HistoryBlock& candidate) const;

    // Moves a block to another moment, never before the block above it nor after the one
    // below. False after telling the user.
    bool SetHistoryDate(std::size_t block, const LocalMoment& when);
    // The "Created" date may not pass the first history block after the creation.
    bool SetCreatedDate(const CalendarDate& date);

    // The user chose another status. A result (a status meaning Pass, Fail or Other) is a new
    // attempt: one more attempt than was loaded, the last attempt now, and the current user
    // among the testers (asked first unless the options add the user without asking). A
    // status that is no result puts back what the choice of a result had set, where the user
    // left it so. Each stays editable. The rows whose controls changed.
    std::vector<std::size_t> StatusChosen();

    // Asks, then puts the execution record back as it was created: the first status, no
    // attempts, no results, and the history cut back to its creation block.
    bool Reset();

private:
    using ItemEditor::ItemEditor;
    std::optional<SaveRefusal> ValidateFields() override;
    void PrepareSave(const LocalMoment& now) override;
    void WriteTail(XMLParse& doc) override;
    void Saved() override;
    // The project's "Project Test Cases" folder.
    std::optional<std::filesystem::path> IdentifierScope() const override;

    HistoryBlock Candidate(const LocalMoment& now) const;
    std::optional<SaveRefusal> CheckCreatedDate(const CalendarDate& date);

    std::vector<HistoryBlock> m_history;
    std::vector<HistoryBlock> m_written;  // the history as the save in progress writes it
    // What the choice of a result set, to be put back when another choice undoes it.
    struct AttemptStamp {
        std::size_t row;
        FieldControl before, after;
    };
    std::vector<AttemptStamp> m_attemptStamp;
};

}  // namespace vantorel
