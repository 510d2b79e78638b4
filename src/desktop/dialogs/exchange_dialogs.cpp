#include "desktop/dialogs/exchange_dialogs.h"

#include <QFileDialog>
#include <variant>

#include "desktop/exchange_jobs.h"
#include "desktop/main_window.h"

namespace vantorel {

std::optional<ExchangeTarget> ExchangeTargetOrTell(MainWindow& window, UserPort& port,
                                                   Operation operation) {
    auto target = ExchangeTargetOf(operation, window.SelectedNodes(),
                                   window.TheShell().Database().Directory());
    if (const Notice* refusal = std::get_if<Notice>(&target)) {
        port.tell(*refusal);
        return std::nullopt;
    }
    if (window.Jobs().Running()) {
        port.tell(ExchangeBusyNotice());
        return std::nullopt;
    }
    return std::get<ExchangeTarget>(std::move(target));
}

std::optional<std::filesystem::path> ChooseFileToImport(QWidget* parent, const QString& filter,
                                                        std::filesystem::path* startFolder) {
    const QString start = startFolder ? QString::fromStdString(startFolder->string()) : QString();
    const QString chosen =
        QFileDialog::getOpenFileName(parent, parent->windowTitle(), start, filter);
    if (chosen.isEmpty())
        return std::nullopt;
    const std::filesystem::path file = chosen.toStdString();
    if (startFolder)
        *startFolder = file.parent_path();
    return file;
}

}  // namespace vantorel
