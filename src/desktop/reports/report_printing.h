#pragma once
// Printing a report: its page as the web export shows it (the same body, the charts drawn by
// the chart renderer), under a heading that names the project, the report and its date, and
// with a footer of page numbers on every page when the options ask for it. Print preview and
// "Export as PDF" go through the same path.

#include <QPrinter>
#include <QString>
#include <QTextDocument>
#include <filesystem>

namespace vantorel {

class CustomCfg;

// The look of a report page laid out by Qt's rich text (printing, the details view): the
// classes the report pages use.
QString ReportStyleSheet();

// Moves each heading that would end a page onto the next one, with the table or chart it
// heads, and repeats each table's heading row on the pages it runs onto. The document's page
// size is set.
void KeepHeadingsWithNext(QTextDocument& document);

// Lays the report out on printer's pages and prints them. False when the report can't be
// read or the printer refuses to start.
bool PrintReport(QPrinter& printer, const std::filesystem::path& report, const CustomCfg& custom,
                 bool withFooter);

}  // namespace vantorel
