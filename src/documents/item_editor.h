#pragma once
// The editor model every item dialog is a view of. It loads an item's document into one
// control per field-table row, remembers what was loaded so it can tell what the user changed,
// runs the checks of the item's kind in their order (the first failure is told through the
// port and nothing is written), and saves the whole document through a temporary file and a
// rename. An item being edited is locked for as long as its editor lives.

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "documents/history.h"
#include "documents/save_refusal.h"
#include "platform/identity.h"
#include "platform/user_port.h"
#include "storage/edit_lock.h"
#include "storage/field_values.h"
#include "storage/identifiers.h"
#include "storage/tagged_document.h"

namespace vantorel {

class CustomCfg;

// The refusals of one kind of item; texts with %d take the identifier limit.
struct ItemTexts {
    std::string_view idMandatory;
    std::string_view idTooLong;
    std::string_view idCaption;
    std::string_view idInvalid;
    std::string_view idExists;
    std::string_view pathTooLong;          // caption "Exceeds path length"
    std::string_view newPathTooLong = {};  // a new item, when it has its own text
    std::string_view openIdTooLong = {};   // opening an item whose ID is over the limit
    std::string_view openIdTooLongCaption = {};
    std::string_view renameClashCaption = {};  // the ID's file appeared while saving
    bool pathBeforeExists = true;              // the order of the path and clash checks
    bool asksBeforeDiscard = false;            // "Close test case without saving changes?"
    bool openEnablesId = true;                 // an ID over the limit may be corrected in place
    // An unreadable document; %s is the file.
    std::string_view openFailure =
        "Unable to open file for editing.\n%s\nPlease check read, write and create permissions "
        "for database.";
};

struct ItemKind {
    std::string_view rootTag;  // "<test_case>"
    std::span<const FieldDescriptor> fields;
    std::string_view windowNoun;  // "Test Case" in "Vantorel - Test Case - Edit"
    std::size_t titleRow;         // the field a window title quotes
    std::string_view idPrefix;    // automatic identifiers of a folder without any
    ItemTexts texts;
    std::string_view helpPage;  // the dialog's page of the help, "Test_Cases.htm"
    // A dialog that is a property sheet of its own caption ("Vantorel - Project Test Case
    // Properties"); empty for those captioned by WindowTitle.
    std::string_view sheetCaption = {};
};

// What every editor needs from its surroundings; tests replace the clock and the identity.
struct EditorContext {
    UserPort& port;
    const CustomCfg& custom;
    UserIdentity identity = CurrentIdentity();
    std::function<LocalMoment()> now = LocalNow;
    // The folder of a new item was checked by the caller (CanCreateIn): an import checks each
    // folder once rather than probing it, a quarter of a second each time, for every item.
    bool folderChecked = false;
    // An import's automatic identifiers, so each folder is listed once for all its items.
    KnownIds* knownIds = nullptr;
    // A result chosen in a project test case's dialog adds the current user to its testers
    // without asking.
    bool addUserWithoutAsking = false;

    // The name automatic "Update By" fields take: the current user of this computer, else the
    // login name.
    std::string UserName() const;
};

// Hours 0-999 and minutes 0-59, typed as "H:M" (an hours box and a minutes box).
struct Duration {
    int hours = 0, minutes = 0;
};
std::optional<Duration> ParseDuration(std::string_view text);
std::string StoredDuration(const Duration& duration);  // "%02d:%02d"
// "Invalid data in the '<field>' field." followed by the "HHH:MM" form a duration must take.
std::string DurationFormatMessage(std::string_view fieldName);

// The checks made before a new item of any kind is started in folder: the folder must take
// new files and leave room below the path limit. False after telling the user.
bool CanCreateIn(const std::filesystem::path& folder, UserPort& port);
// The same checks for a caller that made the write probe itself (probeError: its Error()),
// so as not to wait for its end: what to tell the user, if the folder can't take new items.
std::optional<Notice> NewItemsRefusal(const std::filesystem::path& folder, int probeError);

// Where test cases' IDs are matched by people and imports: for a test case in folder, the
// library's "Test Cases" folder, or for a project test case its project's "Project Test
// Cases"; none when folder lies in neither.
std::optional<std::filesystem::path> TestCaseIdScope(const std::filesystem::path& folder,
                                                     bool projectTestCase);
// A test case's ID in the folder it is to go to.
struct PlacedId {
    std::string id;
    std::filesystem::path folder;
};
// Whether test cases may take their IDs: true when scope holds none of them in a folder other
// than its own, or when the user, asked once with the places of the others, keeps them.
bool KeepIdsUsedElsewhere(const std::filesystem::path& scope, const std::vector<PlacedId>& ids,
                          UserPort& port);
bool KeepIdUsedElsewhere(const std::filesystem::path& scope, const std::filesystem::path& folder,
                         const std::string& id, UserPort& port);

// A count and its noun, made plural by an "s" unless the count is one: "1 test case",
// "2 test cases".
std::string Counted(std::size_t count, std::string_view noun);

// A message with its %s and %d markers replaced, in order, by values.
std::string FillMessage(std::string_view pattern, std::initializer_list<std::string_view> values);

// "Unable to save file" with the system's reason and error number.
Notice SaveFailure(const IoResult& result);

class ItemEditor {
public:
    // Every field table begins with the ID.
    static constexpr std::size_t kIdRow = 0;

    virtual ~ItemEditor() = default;
    ItemEditor(const ItemEditor&) = delete;
    ItemEditor& operator=(const ItemEditor&) = delete;

    // One control per row of the kind's table, in table order.
    std::vector<FieldControl> controls;

    FieldControl& Control(std::string_view tag);
    const FieldControl& Control(std::string_view tag) const;

    bool IsNew() const { return !m_path; }
    // The kind's field table: one control per row, in this order.
    std::span<const FieldDescriptor> Fields() const { return m_kind.fields; }
    const ItemKind& Kind() const { return m_kind; }
    // The ID is typed for a new item, and for one opened with an ID over the limit.
    bool IdEditable() const { return m_idEditable; }
    const std::filesystem::path& Folder() const { return m_folder; }
    // The document's path; for a new item, where it will be saved.
    std::filesystem::path Path() const;

    // "Vantorel - <noun> - Edit [title]", the title cut at 75 characters.
    std::string WindowTitle(bool editing) const;
    // The caption of the item's dialog: its kind's sheet caption, else WindowTitle.
    std::string SheetTitle() const;

    // True when any control differs from what was loaded.
    bool UpdateRequired() const;
    // Cancelling: true when the editor may close. With changes the user is asked first, for
    // the kinds that ask.
    bool ConfirmClose();

    // Text typed for the field in row, as UTF-8, before it becomes the control's ISO-8859-1
    // text: refused, naming the character and the field, when a document can't hold it.
    [[nodiscard]] std::optional<SaveRefusal> CheckTyped(std::size_t row, std::string_view utf8);

    // OK: checks, then saves. None when saved; else the refusal the user was told, naming the
    // row of the field at fault, with nothing written and the controls as typed.
    [[nodiscard]] virtual std::optional<SaveRefusal> Save();

    // An item brought in from a file (an import) keeps the creation date and time it comes
    // with; one made in a dialog is created now.
    void KeepGivenCreation() { m_keepGivenCreation = true; }
    // Save for a caller that checked the identifier against the folder itself, as an import
    // checks a whole file against one listing rather than listing the folder for every item:
    // the identifier's own rules and the fields are checked as by Save, and a name taken
    // since is still refused when the document takes it.
    [[nodiscard]] std::optional<SaveRefusal> SaveCheckedIdentifier();

protected:
    ItemEditor(const ItemKind& kind, EditorContext context);

    // The editor when it could open path (or start in folder), else null.
    template <typename Editor>
    static std::unique_ptr<Editor> Opened(std::unique_ptr<Editor> editor,
                                          const std::filesystem::path& path) {
        return editor->OpenExisting(path) ? std::move(editor) : nullptr;
    }
    template <typename Editor>
    static std::unique_ptr<Editor> Started(std::unique_ptr<Editor> editor,
                                           const std::filesystem::path& folder,
                                           bool automaticId = true) {
        return editor->StartNew(folder, automaticId) ? std::move(editor) : nullptr;
    }

    // Locks and reads an existing document; false after telling the user.
    bool OpenExisting(const std::filesystem::path& path);
    // Starts a new item in folder, with an automatic identifier unless told otherwise; false
    // after telling the user.
    bool StartNew(const std::filesystem::path& folder, bool automaticId = true);
    // Writes the document at target (a changed ID moves it there) and makes what was written
    // the new baseline; the refusal told, if it can't.
    std::optional<SaveRefusal> WriteDocument(const std::filesystem::path& target);
    // The identifier checks of the kind: length, characters, path room and clash.
    std::optional<SaveRefusal> ValidateIdentifier();
    // Length and characters only.
    std::optional<SaveRefusal> CheckIdentifierText();
    // Tells notice and returns it as the refusal of the field in row.
    SaveRefusal Refuse(Notice notice, std::optional<std::size_t> row);

    bool KeepsGivenCreation() const { return m_keepGivenCreation; }
    // Makes the controls as they stand the baseline of UpdateRequired (a new item's defaults).
    void AcceptAsLoaded() { m_loaded = controls; }

    // The checks after the identifier and path ones, in the kind's order; the first refusal.
    virtual std::optional<SaveRefusal> ValidateFields() { return std::nullopt; }
    // Where the kind's identifiers are matched by people and imports (the library, a
    // project's test cases): a new or changed identifier already used elsewhere there is
    // kept only after the user agrees. None for kinds matched by their folder alone.
    virtual std::optional<std::filesystem::path> IdentifierScope() const { return std::nullopt; }
    // A text field holding more than the field keeps is refused by name.
    std::optional<SaveRefusal> CheckFieldWidths();
    // What to say when the document on disk is no longer the one the editor read (another
    // tester saved it), or its lock is no longer this editor's (someone unlocked it and may be
    // about to save); none when both still are.
    std::optional<std::string> ChangedSinceRead() const;
    // Before a save over a document someone else changed meanwhile: the user keeps both (the
    // editor becomes a new item beside it), replaces it after a second question, or saves
    // nothing.
    std::optional<SaveRefusal> KeepOthersChange();
    // Fills automatic fields just before the document is written.
    virtual void PrepareSave(const LocalMoment&) {}
    // Whatever follows the fields in the document (a project test case's history).
    virtual void WriteTail(XMLParse&) {}
    // Called once the new document is in place.
    virtual void Saved() {}

    // The row index of tag in the kind's table.
    std::size_t Row(std::string_view tag) const;
    const std::vector<FieldControl>& LoadedControls() const { return m_loaded; }
    const XMLParse& Document() const { return m_doc; }
    // The automatic creation and update fields of test cases: a new item is stamped as
    // created now by the current user; unless the user typed them, the updated date and time
    // become now and "Update By" the current user.
    void StampAutomaticFields(const LocalMoment& now);
    // Refuses a control that holds no valid duration; a valid one is written "%02d:%02d" and an
    // empty one stays empty.
    std::optional<SaveRefusal> CheckDuration(std::string_view tag, std::string_view fieldName,
                                             std::string_view caption);

    const ItemKind& m_kind;
    EditorContext m_context;

private:
    bool ReadDocument(const std::filesystem::path& path);
    void LoadControls();
    std::optional<SaveRefusal> CheckPathRoom(const std::string& id);
    // Asks before a new or changed identifier that IdentifierScope already holds elsewhere.
    std::optional<SaveRefusal> ConfirmIdentifierElsewhere();
    std::optional<SaveRefusal> CheckIdentifierFree(const std::string& id);

    std::optional<std::filesystem::path> m_path;
    std::string m_readDigest;  // of the document as it was read, to tell another's save
    std::filesystem::path m_folder;
    std::unique_ptr<EditLock> m_lock;
    std::unique_ptr<IdReservation> m_reservation;
    std::vector<FieldControl> m_loaded;
    XMLParse m_doc;
    bool m_idEditable = false;
    bool m_keepGivenCreation = false;
};

}  // namespace vantorel
