#include "documents/field_tables.h"

namespace vantorel {
namespace {

constexpr FieldDescriptor kTestCase[] = {
    {0, FT_TEXT, "<id>", "ID", "ID", "ID"},
    {1, FT_TEXT, "<test_title>", "Test Title", "Title", "TITLE"},
    {2, FT_PLAIN_TEXT, "<test_duration>", "Expected Test Duration (HHH:MM)", "Expected Duration",
     "EXPDURATION"},
    {3, FT_LIST_TEXT, "<test_type>", "Test Type", "Type", "TESTTYPE"},
    {4, FT_LIST_TEXT, "<test_phase>", "Test Phase", "Phase", "TESTTPHASE"},
    {5, FT_DATE, "<create_date>", "Test Creation Date", "Created Date", "CREATEDATE"},
    {6, FT_TIME, "<create_time>", "Test Creation Time", "Created Time", "CREATETIME"},
    {7, FT_DATE, "<update_date>", "Last Updated Date", "Updated Date", "UPDATEDATE"},
    {8, FT_TIME, "<update_time>", "Test Updated Time", "Updated Time", "UPDATETIME"},
    {9, FT_TEXT, "<create_user_id>", "Author", "Author", "AUTHOR"},
    {10, FT_TEXT, "<update_user_id>", "Update By", "Update By", "UPDATEBY"},
    {11, FT_TEXT, "<rec_test_configs>", "Test Configurations", "Configurations", "CONFIG"},
    {12, FT_TEXT, "<test_resources>", "Test Resources", "Resources", "RESOURCE"},
    {13, FT_RICH_TEXT, "<prerequisites>", "Prerequisites", "Prerequisites", "PRERQ"},
    {14, FT_RICH_TEXT, "<test_description>", "Test Description", "Description", "DESCRIPTION"},
    {15, FT_RICH_TEXT, "<test_result>", "Expected Results", "Results", "EXPRESULTS"},
    {16, FT_RICH_TEXT, "<notes1>", "Notes Field 1", "Notes 1", "NOTES1"},
    {17, FT_RICH_TEXT, "<notes2>", "Notes Field 2", "Notes 2", "NOTES2"},
    {18, FT_TEXT, "<external_link>", "External Description Link", "Link", "EXTLINK"},
    {19, FT_LIST_TEXT, "<priority>", "Priority", "Priority", "PRIORITY"},
    {20, FT_TEXT, "<requirement>", "Requirements", "Requirements", "REQUIRE"},
    kEndOfTable,
};

constexpr FieldDescriptor kPrjTestCase[] = {
    {0, FT_TEXT, "<id>", "", "ID", "ID"},
    {1, FT_TEXT, "<test_title>", "Test Title", "Title", "TITLE"},
    {2, FT_PLAIN_TEXT, "<test_duration>", "Expected Test Duration (HHH:MM)", "Hours Expected",
     "EXPDURATION"},
    {3, FT_LIST_TEXT, "<test_type>", "Test Type", "Type", "TESTTYPE"},
    {4, FT_LIST_TEXT, "<test_phase>", "Test Phase", "Phase", "TESTTPHASE"},
    {5, FT_TEXT, "<rec_test_configs>", "Test Configurations", "Configurations", "CONFIG"},
    {6, FT_TEXT, "<test_resources>", "Test Resources", "Resources", "RESOURCE"},
    {7, FT_LIST_TEXT, "<test_status>", "Test Status", "Status", "STATUS"},
    {8, FT_PLAIN_TEXT, "<test_attempts>", "Number of Test Attempts", "Attempts", "ATTEMPTS"},
    {9, FT_DATE, "<last_attempt_date>", "Date of Last Attempt", "Last Attempt Date",
     "LASTATTEMPTDATE"},
    {10, FT_TIME, "<last_attempt_time>", "Time of Last Attempt", "Last Attempt Time",
     "LASTATTEMPTTIME"},
    {11, FT_PLAIN_TEXT, "<actual_duration>", "Actual Test Duration (HHH:MM)", "Actual Hours",
     "ACTDURATION"},
    {12, FT_TEXT, "<testers>", "Testers", "Testers", "TESTERS"},
    {13, FT_TEXT, "<fault_report_id>", "Fault Report(s)", "Faults", "FAULTREP"},
    {14, FT_TEXT, "<change_req_id>", "Change Request ID(s)", "CR ID", "CHANGEREQ"},
    {15, FT_RICH_TEXT, "<results_obtained>", "Results Obtained", "Results", "RESULTS"},
    {16, FT_TEXT, "<version_tested>", "Version Tested", "Version", "VERTESTED"},
    {17, FT_TEXT, "<build_tested>", "Build Tested", "Build", "BUILDTESTED"},
    {18, FT_TEXT, "<external_link2>", "External Result Link", "Link2", "RESLINK"},
    {19, FT_RICH_TEXT, "<result_notes>", "Result Notes", "Result Notes", "RESNOTES"},
    {20, FT_TEXT, "<requirement>", "Requirements", "Requirements", "REQUIRE"},
    {21, FT_DATE, "<create_date>", "Test Creation Date", "Created Date", "CREATEDATE"},
    {22, FT_TIME, "<create_time>", "Test Creation Time", "Created Time", "CREATETIME"},
    {23, FT_DATE, "<update_date>", "Last Updated Date", "Updated Date", "UPDATEDATE"},
    {24, FT_TIME, "<update_time>", "Test Updated Time", "Updated Time", "UPDATETIME"},
    {25, FT_TEXT, "<create_user_id>", "Author", "Author", "AUTHOR"},
    {26, FT_TEXT, "<update_user_id>", "Update By", "Update By", "UPDATEBY"},
    {27, FT_RICH_TEXT, "<prerequisites>", "Prerequisites", "Prerequisites", "PRERQ"},
    {28, FT_RICH_TEXT, "<test_description>", "Test Description", "Description", "DESCRIPTION"},
    {29, FT_RICH_TEXT, "<test_result>", "Expected Results", "Results", "EXPRESULTS"},
    {30, FT_RICH_TEXT, "<notes1>", "Notes Field 1", "Notes 1", "NOTES1"},
    {31, FT_RICH_TEXT, "<notes2>", "Notes Field 2", "Notes 2", "NOTES2"},
    {32, FT_TEXT, "<external_link>", "External Description Link", "Link", "EXTLINK"},
    {33, FT_LIST_TEXT, "<priority>", "Priority", "Priority", "PRIORITY"},
    kEndOfTable,
};

constexpr FieldDescriptor kPrjTestCaseDialog[] = {
    {7, FT_LIST_TEXT, "<test_status>", "Test Status", "Status"},
    {8, FT_PLAIN_TEXT, "<test_attempts>", "Number of Test Attempts", "Attempts"},
    {9, FT_DATE, "<last_attempt_date>", "Date of Last Attempt", "Last Attempt Date"},
    {10, FT_TIME, "<last_attempt_time>", "Time of Last Attempt", "Last Attempt Time"},
    {11, FT_PLAIN_TEXT, "<actual_duration>", "Actual Test Duration (HHH:MM)", "Actual Hours"},
    {12, FT_TEXT, "<testers>", "Testers", "Testers"},
    {13, FT_TEXT, "<fault_report_id>", "Fault Report(s)", "Faults"},
    {14, FT_TEXT, "<change_req_id>", "Change Request ID(s)", "CR ID"},
    {15, FT_RICH_TEXT, "<results_obtained>", "Results Obtained", "Results"},
    {16, FT_TEXT, "<version_tested>", "Version Tested", "Version"},
    {17, FT_TEXT, "<build_tested>", "Build Tested", "Build"},
    {18, FT_TEXT, "<external_link2>", "External result link", "Link2"},
    {19, FT_RICH_TEXT, "<result_notes>", "Result Notes", "Result Notes"},
    {20, FT_TEXT, "<requirement>", "Requirements", "Requirements"},
    kEndOfTable,
    {21, FT_DATE, "<create_date>", "Test Creation Date", "Created Date"},
    {22, FT_TIME, "<create_time>", "Test Creation Time", "Created Time"},
    {23, FT_DATE, "<update_date>", "Last Updated Date", "Updated Date"},
    {24, FT_TIME, "<update_time>", "Test Updated Time", "Updated Time"},
    {25, FT_TEXT, "<create_user_id>", "Created By", "Author"},
    {26, FT_TEXT, "<update_user_id>", "Update by", "Update By"},
    kEndOfTable,
};

constexpr FieldDescriptor kTestSuite[] = {
    {0, FT_TEXT, "<id>", "ID", "ID", "TGID"},
    {1, FT_TEXT, "<suite_title>", "Suite Title", "Title", "TGTITLE"},
    {2, FT_RICH_TEXT, "<suite_description>", "Suite Description", "Description", "TGDESCRIPTION"},
    kEndOfTable,
};

constexpr FieldDescriptor kProject[] = {
    {0, FT_TEXT, "<id>", "ID", "ID", "PRJID"},
    {1, FT_TEXT, "<manager>", "Test Manager", "Manager", "PRJMANAGER"},
    {2, FT_TEXT, "<project_title>", "Project Title", "Title", "PRJTITLE"},
    {3, FT_DATE, "<planned_start_date>", "Planned Start Date", "Planned Start", "PRJPLANSTART"},
    {4, FT_DATE, "<actual_start_date>", "Actual Start Date", "Actual Start", "PRJACTSTART"},
    {5, FT_DATE, "<planned_end_date>", "Planned End Date", "Planned End", "PRJPLANEND"},
    {6, FT_DATE, "<actual_end_date>", "Actual End Date", "Actual End", "PRJACTEND"},
    {7, FT_RICH_TEXT, "<overview>", "Scope and Overview", "Scope", "PRJSCOPE"},
    {8, FT_RICH_TEXT, "<resources>", "Resources and Staff", "Resources", "PRJRES"},
    {9, FT_RICH_TEXT, "<risks>", "Risks & Minimisation Actions", "Risks", "PRJRISKS"},
    {10, FT_RICH_TEXT, "<notes>", "Additional Notes", "Notes", "PRJNOTES"},
    // Spelt so in every existing database.
    {11, FT_RICH_TEXT, "<refereces>", "References", "References", "PRJREF"},
    kEndOfTable,
};

constexpr FieldDescriptor kTestCfg[] = {
    {0, FT_TEXT, "<id>", "ID", "ID", "TCFGID"},
    {1, FT_TEXT, "<testcfg_title>", "Configuration Name", "Name", "TCFGNAME"},
    {2, FT_TEXT, "<testcfg_loc>", "Location", "Location", "TCFGLOCATION"},
    {3, FT_RICH_TEXT, "<testcfg_desc>", "Description", "Description", "TCFGDESCRIPTION"},
    kEndOfTable,
};

constexpr FieldDescriptor kTestResource[] = {
    {0, FT_TEXT, "<id>", "", "ID", "TRESID"},
    {1, FT_TEXT, "<testres_title>", "Resource Name", "Name", "TRESNAME"},
    {2, FT_TEXT, "<testres_loc>", "Location", "Location", "TRESLOCATION"},
    // The stem lacks an R; the templates use it so.
    {3, FT_RICH_TEXT, "<testres_desc>", "Description", "Description", "TRESDESCIPTION"},
    kEndOfTable,
};

constexpr FieldDescriptor kTester[] = {
    {0, FT_TEXT, "<id>", "", "ID", "TESTERID"},
    {1, FT_TEXT, "<tester_name>", "Testers Name", "Name", "NAME"},
    {2, FT_TEXT, "<tester_loc>", "Location", "Location", "LOCATION"},
    {3, FT_YES_NO, "<remote_user>", "Remote Access", "Remote Access", "REMOTE"},
    {4, FT_YES_NO, "<read_access>", "Read Privileges", "Read", "PRIV"},
    {5, FT_YES_NO, "<readwrite_access>", "Read/Write Privileges", "Read/Write", "PRIV"},
    {6, FT_PASSWORD, "<passwd_hash>"},
    {7, FT_YES_NO, "<readwritecreate_access>", "Read/Write/Create Privileges", "Read/Write/Create",
     "PRIV"},
    kEndOfTable,
};

}  // namespace

std::span<const FieldDescriptor> TestCaseFields() {
    return kTestCase;
}
std::span<const FieldDescriptor> PrjTestCaseFields() {
    return kPrjTestCase;
}
std::span<const FieldDescriptor> PrjTestCaseDialogFields() {
    return kPrjTestCaseDialog;
}
std::span<const FieldDescriptor> TestSuiteFields() {
    return kTestSuite;
}
std::span<const FieldDescriptor> ProjectFields() {
    return kProject;
}
std::span<const FieldDescriptor> TestCfgFields() {
    return kTestCfg;
}
std::span<const FieldDescriptor> TestResourceFields() {
    return kTestResource;
}
std::span<const FieldDescriptor> TesterFields() {
    return kTester;
}

std::span<const FieldDescriptor> FieldRows(std::span<const FieldDescriptor> table) {
    std::size_t count = 0;
    while (count < table.size() && table[count].controlId != -1)
        ++count;
    return table.first(count);
}

const FieldDescriptor* FindField(std::span<const FieldDescriptor> table, std::string_view tag) {
    for (const FieldDescriptor& row : FieldRows(table))
        if (row.tag == tag)
            return &row;
    return nullptr;
}

}  // namespace vantorel
