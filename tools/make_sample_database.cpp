// Writes the sample database a new user learns from: a web shop's library of test cases in
// five suites, two projects whose test cases carry multi-step histories across the projects'
// periods, testers, configurations, resources and two saved filters. Everything is written
// through the same editors the program uses, so the sample is valid for every reader.
//
//   vantorel_make_sample_database DIRECTORY   (DIRECTORY must not exist yet)

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include "documents/custom_cfg.h"
#include "documents/prj_test_case.h"
#include "documents/reference_items.h"
#include "documents/test_case.h"
#include "documents/test_group.h"
#include "platform/user_port.h"
#include "storage/tagged_document.h"
#include "storage/vantorel_database.h"

namespace {

using namespace vantorel;

// The generator's port. Nobody is there to answer: a question takes its safe answer, No, as in
// a command-line run (main makes the new folder itself, so creating the database asks none),
// and the last notice is kept to explain a failure.
class GeneratorPort : public UserPort {
public:
    void tell(const Notice& notice) override {
        std::lock_guard lock(m_mutex);
        m_lastNotice = notice.text;
    }
    bool ask(const Notice&) override { return false; }
    void progress(int, int) override {}

    std::string LastNotice() {
        std::lock_guard lock(m_mutex);
        return m_lastNotice;
    }

private:
    std::mutex m_mutex;  // a port may be called from any thread (platform/user_port.h)
    std::string m_lastNotice;
};

struct LibraryCase {
    const char* title;
    const char* duration;
    const char* type;
    const char* phase;
    const char* priority;
    const char* steps;
    const char* expected;
};

struct LibrarySuite {
    const char* id;
    const char* code;  // the prefix of its test case IDs
    const char* title;
    const char* description;
    std::vector<LibraryCase> cases;
};

const std::vector<LibrarySuite>& Library() {
    static const std::vector<LibrarySuite> suites = {
        {"Login",
         "LOG",
         "Signing in and out",
         "Account access on the web shop: passwords, lockout, sessions.",
         {{"Log in with a valid password", "00:10", "System test", "Functionality", "Highest",
           "Open the sign-in page.\nEnter a registered e-mail address and its password.\n"
           "Press \"Sign in\".",
           "The account page opens and greets the customer by name."},
          {"Refuse a wrong password", "00:10", "System test", "Functionality", "High",
           "Enter a registered e-mail address with a wrong password.\nPress \"Sign in\".",
           "\"E-mail or password is wrong\" is shown; no session is started."},
          {"Lock the account after five failures", "00:20", "System test", "Reliability", "High",
           "Sign in with a wrong password five times in a row.",
           "The sixth attempt says the account is locked for 15 minutes."},
          {"Reset a forgotten password", "00:30", "Integration test", "Functionality", "High",
           "Press \"Forgot password\".\nEnter the e-mail address.\nFollow the link in the "
           "e-mail and choose a new password.",
           "The new password signs in; the old one no longer does."},
          {"Sign out ends the session", "00:05", "System test", "Functionality", "Medium",
           "Sign in, then press \"Sign out\".\nPress the browser's Back button.",
           "The account page is not shown again without signing in."},
          {"Session expires after 30 idle minutes", "00:45", "System test", "Reliability", "Low",
           "Sign in and leave the browser idle for 31 minutes.\nOpen the basket.",
           "The customer is asked to sign in again; the basket is kept."}}},
        {"Cart",
         "CART",
         "Shopping basket",
         "Adding, changing and removing products in the basket.",
         {{"Add a product to the basket", "00:10", "System test", "Functionality", "Highest",
           "Open a product page.\nPress \"Add to basket\".",
           "The basket icon shows 1; the basket lists the product at its price."},
          {"Change the quantity of a line", "00:10", "System test", "Functionality", "High",
           "Open the basket and set a line's quantity to 3.",
           "The line total and the basket total are recalculated at once."},
          {"Remove a line from the basket", "00:05", "System test", "Functionality", "Medium",
           "Press the bin icon of a basket line.",
           "The line disappears; an \"Undo\" link restores it for 10 seconds."},
          {"Basket survives signing in", "00:15", "Integration test", "Functionality", "High",
           "As a guest, add two products.\nSign in to an account with one product in its "
           "basket.",
           "The basket holds all three products."},
          {"Refuse more than the stock", "00:10", "System test", "Functionality", "Medium",
           "Set a line's quantity above the stock shown on the product page.",
           "The quantity is limited to the stock and a notice explains why."},
          {"Apply a discount code", "00:15", "Acceptance test", "Functionality", "Medium",
           "Enter the code SPRING10 in the basket.",
           "10% is taken off the products; shipping is unchanged."}}},
        {"Checkout",
         "CHK",
         "Checkout and payment",
         "From the basket to a confirmed order.",
         {{"Pay by card", "00:20", "System test", "Functionality", "Highest",
           "Go to checkout, enter the delivery address.\nPay with test card 4242 4242 4242 "
           "4242.",
           "The order confirmation page shows an order number; an e-mail follows."},
          {"Declined card is reported", "00:15", "System test", "Functionality", "High",
           "Pay with test card 4000 0000 0000 0002.",
           "\"Your card was declined\" is shown; the order is not placed."},
          {"Address is validated", "00:15", "System test", "Usability", "Medium",
           "Leave the postcode empty and press \"Continue\".",
           "The postcode field is marked and explains what is missing."},
          {"Shipping cost follows the country", "00:20", "Integration test", "Functionality",
           "Medium", "Change the delivery country from Germany to Norway.",
           "The shipping cost and delivery estimate change before payment."},
          {"Order appears in the account", "00:10", "Acceptance test", "Functionality", "High",
           "Place an order, then open \"My orders\".",
           "The order is listed with its date, total and status \"Paid\"."},
          {"Checkout under load", "02:00", "System test", "Performance", "Low",
           "Run the load script with 200 simultaneous checkouts.",
           "95% of checkouts finish within 3 seconds; none fail."}}},
        {"Search",
         "SRCH",
         "Product search",
         "Finding products by name, category and filters.",
         {{"Search by product name", "00:10", "System test", "Functionality", "High",
           "Type \"walking boots\" in the search box and press Enter.",
           "Walking boots are listed first."},
          {"Search tolerates a typing mistake", "00:10", "System test", "Usability", "Medium",
           "Search for \"waking boots\".", "The results for \"walking boots\" are offered."},
          {"Filter results by price", "00:10", "System test", "Functionality", "Medium",
           "Search for \"jacket\" and set the price filter to 50-100.",
           "Only jackets priced from 50 to 100 remain."},
          {"Sort results by price", "00:05", "System test", "Functionality", "Low",
           "Sort a result list by \"Price: low to high\".", "Prices rise down the list."},
          {"No results page helps", "00:05", "System test", "Usability", "Low",
           "Search for \"xyzzy\".", "A friendly page suggests categories and popular items."},
          {"Search answers quickly", "00:30", "System test", "Performance", "Medium",
           "Run 1,000 searches from the load script.", "The median answer time is below 300 ms."}}},
        {"Accessibility",
         "A11Y",
         "Accessibility",
         "The shop works with a keyboard, a screen reader and zoom.",
         {{"Checkout with the keyboard alone", "00:30", "Acceptance test", "Usability", "Highest",
           "Buy a product using only Tab, Shift+Tab, Enter and Space.",
           "Every step can be reached and the focus is always visible."},
          {"Images have text alternatives", "00:20", "System test", "Usability", "High",
           "Inspect the home page and a product page with the accessibility checker.",
           "Every informative image has a meaningful alternative text."},
          {"Screen reader announces basket changes", "00:20", "System test", "Usability", "High",
           "With a screen reader on, add a product to the basket.",
           "\"Added to basket, 1 item\" is announced."},
          {"Page works at 200% zoom", "00:15", "System test", "Usability", "Medium",
           "Zoom the browser to 200% and walk through checkout.",
           "No text is cut off and no horizontal scrolling is needed."},
          {"Colour contrast meets AA", "00:20", "System test", "Usability", "Medium",
           "Check text and buttons with the contrast analyser.",
           "Every text has a contrast ratio of at least 4.5:1."},
          {"Form errors are announced", "00:15", "System test", "Usability", "Medium",
           "Submit the address form with errors using a screen reader.",
           "The errors are read out and the focus moves to the first one."}}},
    };
    return suites;
}

const char* CodeOf(std::string_view suite) {
    for (const LibrarySuite& library : Library())
        if (suite == library.id)
            return library.code;
    throw std::runtime_error("no suite " + std::string(suite));
}

// One run of a project test case: when, the new status, and what was tested.
struct Run {
    int month, day, hour;
    const char* status;
    const char* version;
    const char* build;
    const char* actual;
    const char* tester;
    const char* fault;
};

struct PlannedCase {
    const char* suite;
    int libraryIndex;
    std::vector<Run> runs;
};

struct SampleProject {
    const char* id;
    const char* title;
    const char* manager;
    CalendarDate plannedStart, actualStart, plannedEnd;
    std::optional<CalendarDate> actualEnd;
    const char* overview;
    std::vector<PlannedCase> cases;
};

std::vector<SampleProject> Projects() {
    return {
        {"Release 2.0",
         "Web shop release 2.0",
         "Dana Whitfield",
         {2026, 10, 1},
         {2026, 10, 5},
         {2026, 10, 30},
         CalendarDate{2026, 11, 6},
         "System and acceptance test of release 2.0: new basket, card payments and search.",
         {{"Login", 0, {{10, 6, 10, "Pass", "2.0", "b101", "00:12", "dana", ""}}},
          {"Login",
           1,
           {{10, 6, 11, "Fail", "2.0", "b101", "00:15", "dana", "BUG-311"},
            {10, 14, 9, "Pass", "2.0", "b104", "00:09", "lee", ""}}},
          {"Login",
           3,
           {{10, 8, 14, "Other", "2.0", "b102", "00:40", "lee", ""},
            {10, 20, 15, "Pass", "2.0", "b105", "00:30", "lee", ""}}},
          {"Cart", 0, {{10, 7, 10, "Pass", "2.0", "b101", "00:08", "sam", ""}}},
          {"Cart",
           1,
           {{10, 7, 11, "Fail", "2.0", "b101", "00:12", "sam", "BUG-318"},
            {10, 15, 10, "Fail", "2.0", "b104", "00:10", "sam", "BUG-318"},
            {10, 27, 16, "Pass", "2.0", "b106", "00:10", "sam", ""}}},
          {"Cart", 5, {{10, 22, 9, "Postponed", "2.0", "b105", "", "dana", ""}}},
          {"Checkout",
           0,
           {{10, 9, 10, "Fail", "2.0", "b102", "00:25", "dana", "BUG-320"},
            {10, 21, 11, "Pass", "2.0", "b105", "00:18", "dana", ""}}},
          {"Checkout", 1, {{10, 9, 14, "Pass", "2.0", "b102", "00:14", "dana", ""}}},
          {"Checkout", 5, {{10, 28, 13, "Fail", "2.0", "b106", "03:10", "lee", "BUG-342"}}},
          {"Search", 0, {{10, 12, 10, "Pass", "2.0", "b103", "00:10", "sam", ""}}},
          {"Search", 5, {}}}},
        {"Mobile launch",
         "Shop on phones and tablets",
         "Lee Park",
         {2026, 11, 2},
         {2026, 11, 3},
         {2026, 12, 11},
         std::nullopt,
         "First release of the shop's mobile layout, with accessibility as a release criterion.",
         {{"Login", 0, {{11, 4, 10, "Pass", "2.1", "b201", "00:10", "lee", ""}}},
          {"Login",
           4,
           {{11, 4, 11, "Fail", "2.1", "b201", "00:06", "lee", "BUG-402"},
            {11, 12, 9, "Pass", "2.1", "b203", "00:05", "lee", ""}}},
          {"Cart", 0, {{11, 5, 10, "Pass", "2.1", "b201", "00:12", "sam", ""}}},
          {"Accessibility",
           0,
           {{11, 9, 14, "Fail", "2.1", "b202", "00:45", "dana", "BUG-410"},
            {11, 18, 10, "Other", "2.1", "b204", "00:35", "dana", ""}}},
          {"Accessibility", 2, {{11, 10, 10, "Pass", "2.1", "b202", "00:20", "sam", ""}}},
          {"Accessibility", 3, {{11, 16, 15, "Postponed", "2.1", "b203", "", "lee", ""}}},
          {"Accessibility", 4, {}},
          {"Checkout", 0, {}}}},
    };
}

class Writer {
public:
    explicit Writer(std::filesystem::path root) : m_root(std::move(root)) {}

    EditorContext Context(LocalMoment when) {
        return {m_port, m_custom, {"sample", "dana"}, [when] { return when; }};
    }

    void Require(bool ok, const std::string& what) {
        if (ok)
            return;
        throw std::runtime_error(what + ": " + m_port.LastNotice());
    }

    void RequireSaved(const std::optional<SaveRefusal>& refusal, const std::string& what) {
        if (refusal)
            throw std::runtime_error(what + ": " + refusal->notice.text);
    }

    void CustomFile() {
        CustomTables tables = BuiltInCustomTables();
        tables.versions = {"2.0", "2.1"};
        tables.builds = {"b101", "b102", "b103", "b104", "b105",
                         "b106", "b201", "b202", "b203", "b204"};
        tables.defaults.version = "2.1";
        tables.notesCaptions = {"Test data", "Known issues", "Tester's remarks"};
        // Calm report colours (0x00BBGGRR): the statuses, then the time figures.
        tables.reportColours = {0xA6948A, 0x2B39C0, 0x578B2E, 0x1089D6, 0xA65B7D, 0,
                                0,        0,        0,        0,        0x8A5D2F, 0xBF8E6C,
                                0x8FB37F, 0x578B2E, 0x2B39C0, 0x1089D6};
        m_custom.Replace(tables);
        Require(m_custom.Write(m_root).ok(), "custom.dat");
    }

    void ReferenceItems() {
        const LocalMoment when{{2026, 9, 28}, {9, 0, 0}};
        struct Person {
            const char* id;
            const char* name;
            const char* location;
            bool remote;
        };
        for (const Person& person : {Person{"dana", "Dana Whitfield", "Berlin", true},
                                     Person{"lee", "Lee Park", "Berlin", false},
                                     Person{"sam", "Sam Okafor", "Lagos", false}}) {
            auto tester = Tester::New(m_root / "Testers", Context(when));
            Require(tester != nullptr, "tester");
            tester->Control("<id>").text = person.id;
            tester->Control("<tester_name>").text = person.name;
            tester->Control("<tester_loc>").text = person.location;
            tester->Control("<remote_user>").checked = person.remote;
            tester->Control("<read_access>").checked = true;
            if (person.remote) {
                tester->Password() = "sample";
                tester->passwordRepeat = "sample";
            }
            RequireSaved(tester->Save(), person.id);
        }
        for (auto [id, name, location, description] :
             {std::tuple{"Desktop", "Desktop browser", "Test lab, bench 3",
                         "Windows 11 and Ubuntu 24.04 with current Firefox and Chrome."},
              std::tuple{"Phone", "Phone browser", "Device cabinet",
                         "Android 15 phone with Chrome; iPhone with Safari."}}) {
            auto cfg = TestCfg::New(m_root / "Test Configurations", Context(when));
            Require(cfg != nullptr, "configuration");
            cfg->Control("<id>").text = id;
            cfg->Control("<testcfg_title>").text = name;
            cfg->Control("<testcfg_loc>").text = location;
            cfg->Control("<testcfg_desc>").text = description;
            RequireSaved(cfg->Save(), id);
        }
        for (auto [id, name, location, description] :
             {std::tuple{"Staging", "Staging shop", "https://staging.example.test",
                         "A copy of the shop with test payment accounts."},
              std::tuple{"Cards", "Test card numbers", "Payment provider's sandbox",
                         "4242 4242 4242 4242 succeeds; 4000 0000 0000 0002 is declined."},
              std::tuple{"Reader", "Screen reader", "Test lab, bench 5",
                         "NVDA on Windows, VoiceOver on the iPhone."}}) {
            auto resource = TestResource::New(m_root / "Resources", Context(when));
            Require(resource != nullptr, "resource");
            resource->Control("<id>").text = id;
            resource->Control("<testres_title>").text = name;
            resource->Control("<testres_loc>").text = location;
            resource->Control("<testres_desc>").text = description;
            RequireSaved(resource->Save(), id);
        }
    }

    void LibraryCases() {
        const LocalMoment when{{2026, 9, 29}, {10, 0, 0}};
        for (const LibrarySuite& suite : Library()) {
            auto group = TestGroup::New(m_root / "Test Cases", Context(when));
            Require(group != nullptr, suite.id);
            group->Control("<id>").text = suite.id;
            group->Control("<suite_title>").text = suite.title;
            group->Control("<suite_description>").text = suite.description;
            RequireSaved(group->Save(), suite.id);
            const std::string prefix = suite.code;
            for (std::size_t i = 0; i < suite.cases.size(); ++i) {
                const LibraryCase& item = suite.cases[i];
                auto editor = TestCase::New(m_root / "Test Cases" / suite.id, Context(when));
                Require(editor != nullptr, item.title);
                char id[32];
                std::snprintf(id, sizeof id, "%s-%03zu", prefix.c_str(), i + 1);
                editor->Control("<id>").text = id;
                editor->Control("<test_title>").text = item.title;
                editor->Control("<test_duration>").text = item.duration;
                editor->Control("<test_type>").text = item.type;
                editor->Control("<test_phase>").text = item.phase;
                editor->Control("<priority>").text = item.priority;
                editor->Control("<rec_test_configs>").text =
                    std::string(suite.id) == "Accessibility" ? "Desktop, Phone" : "Desktop";
                editor->Control("<test_resources>").text =
                    std::string(suite.id) == "Checkout" ? "Staging, Cards" : "Staging";
                editor->Control("<prerequisites>").text =
                    "The staging shop is running and holds the standard test catalogue.";
                editor->Control("<test_description>").text = item.steps;
                editor->Control("<test_result>").text = item.expected;
                editor->Control("<requirement>").text =
                    "REQ-" + prefix + "-" + std::to_string(i + 1);
                if (i == 1)
                    // In quotes, since item paths hold blanks.
                    editor->Control("<notes1>").text = "See also \"vantorel://Test Cases/" +
                                                       std::string(suite.id) + "/" + prefix +
                                                       "-001\"";
                RequireSaved(editor->Save(), item.title);
            }
        }
    }

    void ProjectsAndHistories() {
        for (const SampleProject& plan : Projects()) {
            const LocalMoment created{plan.plannedStart, {9, 0, 0}};
            auto project = Project::New(m_root / "Projects", Context(created));
            Require(project != nullptr, plan.id);
            project->Control("<id>").text = plan.id;
            project->Control("<project_title>").text = plan.title;
            project->Control("<manager>").text = plan.manager;
            project->Control("<planned_start_date>").date = plan.plannedStart;
            project->Control("<actual_start_date>").date = plan.actualStart;
            project->Control("<planned_end_date>").date = plan.plannedEnd;
            project->Control("<actual_end_date>").date = plan.actualEnd;
            project->Control("<overview>").text = plan.overview;
            project->Control("<risks>").text =
                "Payment sandbox outages delay checkout tests.\nDevices are shared with "
                "another team.";
            RequireSaved(project->Save(), plan.id);

            const std::filesystem::path cases =
                m_root / "Projects" / plan.id / "Project Test Cases";
            for (const PlannedCase& planned : plan.cases) {
                const std::filesystem::path suite = cases / planned.suite;
                if (!std::filesystem::exists(suite)) {
                    auto group = PrjTestGroup::New(cases, Context(created));
                    Require(group != nullptr, planned.suite);
                    group->Control("<id>").text = planned.suite;
                    group->Control("<suite_title>").text = planned.suite;
                    RequireSaved(group->Save(), planned.suite);
                }
                char id[32];
                std::snprintf(id, sizeof id, "%s-%03d", CodeOf(planned.suite),
                              planned.libraryIndex + 1);
                const std::filesystem::path source =
                    m_root / "Test Cases" / planned.suite / (std::string(id) + ".vtl");
                const std::filesystem::path target = suite / (std::string(id) + ".vtl");
                const LocalMoment converted{plan.actualStart, {8, 30, 0}};
                Require(PrjTestCase::Convert(source, target, Context(converted)), id);
                int attempts = 0;
                for (const Run& run : planned.runs) {
                    const LocalMoment when{{2026, run.month, run.day}, {run.hour, 12, 0}};
                    auto editor = PrjTestCase::Edit(target, Context(when));
                    Require(editor != nullptr, id);
                    editor->Control("<test_status>").text = run.status;
                    if (std::string(run.status) != "Postponed")
                        editor->Control("<test_attempts>").text = std::to_string(++attempts);
                    editor->Control("<version_tested>").text = run.version;
                    editor->Control("<build_tested>").text = run.build;
                    editor->Control("<actual_duration>").text = run.actual;
                    editor->Control("<testers>").text = run.tester;
                    editor->Control("<fault_report_id>").text = run.fault;
                    editor->Control("<results_obtained>").text =
                        *run.fault
                            ? "Did not behave as expected; see " + std::string(run.fault) + "."
                            : std::string("Behaved as expected.");
                    RequireSaved(editor->Save(), id);
                }
            }
        }
    }

    void Filters() {
        struct Saved {
            const char* id;
            const char* name;
            int condition;
            std::vector<const char*> values;
        };
        for (const Saved& filter : {Saved{"Failed", "Tests that failed", 0, {"Fail"}},
                                    Saved{"Urgent", "Highest and high priority", 18, {"2"}}}) {
            XMLParse doc;
            doc.OpenWrite(m_root / "Filters" / (std::string(filter.id) + ".vtl"));
            doc.WriteHeader();
            doc.WriteOpenTag("<filter>");
            doc.WriteField({0, FT_TEXT, "<id>"}, filter.id);
            doc.WriteField({1, FT_TEXT, "<name>"}, filter.name);
            doc.WriteOpenTag("<conditional>");
            doc.WriteTag("<CBMapIndex>", std::to_string(filter.condition));
            for (const char* value : filter.values)
                doc.WriteField({2, FT_TEXT, "<data>"}, value);
            // A priority before position 2 ("Medium") passes: operator 0, "less than".
            doc.WriteTag("<match>", filter.condition == 18 ? "0" : "1");
            doc.WriteCloseTag("<conditional>");
            doc.WriteCloseTag("<filter>");
            Require(doc.Commit().ok(), filter.id);
        }
    }

private:
    std::filesystem::path m_root;
    GeneratorPort m_port;
    CustomCfg m_custom;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: vantorel_make_sample_database DIRECTORY\n", stderr);
        return 2;
    }
    const std::filesystem::path root = argv[1];
    if (std::filesystem::exists(root)) {
        std::fprintf(stderr, "%s exists already; give a new folder\n", argv[1]);
        return 2;
    }
    std::error_code error;
    if (!std::filesystem::create_directories(root, error)) {
        std::fprintf(stderr, "Unable to make %s: %s\n", argv[1], error.message().c_str());
        return 1;
    }
    GeneratorPort port;
    VantorelDatabase database(port);
    if (!database.CreateNew(root)) {
        std::fprintf(stderr, "Unable to create a database in %s: %s\n", argv[1],
                     port.LastNotice().c_str());
        return 1;
    }
    try {
        Writer writer(root);
        writer.CustomFile();
        writer.ReferenceItems();
        writer.LibraryCases();
        writer.ProjectsAndHistories();
        writer.Filters();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
    return 0;
}
