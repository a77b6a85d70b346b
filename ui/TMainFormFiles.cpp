// SPDX-License-Identifier: Apache-2.0
// The main window's file commands: save and load of the configuration file,
// the comparison with a file, and the check of what the module holds after
// writing.
#include "TMainForm.h"

#include "ChangeMarks.h"
#include "Communicator.h"
#include "CompareForm.h"
#include "ConfigFile.h"
#include "Desktop.h"
#include "Dialogs.h"
#include "SettingsPage.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QStandardPaths>

#include <string>
#include <vector>

namespace {

const char* const kFileFilter = "Configuration file (*.bcf);;All files (*.*)";

// The person's documents folder, else home: where the file dialogs open
// before any configuration file was saved or loaded.
QString DocumentsFolder() {
    const QString docs = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (!docs.isEmpty() && QDir(docs).exists()) return docs;
    return QDir::homePath();
}

std::string LocalPath(const QString& fileName) {
    return QFile::encodeName(fileName).toStdString();
}

} // namespace

bool TMainForm::SaveSettings(const QString& fileName) {
    if (fileName.isEmpty()) return false;
    const std::string path = ConfigFile::SaveName(LocalPath(fileName));
    const QString shown = QFile::decodeName(QByteArray::fromStdString(path));
    if (QFileInfo::exists(shown) &&
        Desktop::AskYesNo(this, QString("The file \"%1\" already exists.\n\nDo you want to "
                                        "replace it?")
                                    .arg(shown)) != Desktop::Answer::Yes)
        return false;
    std::string error;
    if (ConfigFile::WriteAtomically(path, settings.FileText(), &error)) {
        lastFileFolder = QFileInfo(shown).absolutePath();
        return true;
    }
    Desktop::Tell(this, QString("The settings could not be saved to \"%1\": %2.\n\nThe file "
                                "was not changed.")
                            .arg(shown, QString::fromLocal8Bit(error.c_str())));
    return false;
}

bool TMainForm::LoadSettings(const QString& fileName) {
    if (fileName.isEmpty()) return false;
    std::string bytes, error;
    if (!ConfigFile::ReadAll(LocalPath(fileName), bytes, &error)) {
        Desktop::Tell(this, QString("The settings could not be loaded from \"%1\": %2.\n\n"
                                    "Nothing was changed.")
                                .arg(fileName, QString::fromLocal8Bit(error.c_str())));
        return false;
    }
    if (settings.LoadFile(bytes) == 0) {
        Desktop::Tell(this, QString("\"%1\" holds no settings of a module.\n\nNothing was "
                                    "changed.")
                                .arg(fileName));
        return false;
    }
    for (SettingsPage* page : pages)
        page->UpdateControls();
    changeMarks->Update();
    lastFileFolder = QFileInfo(fileName).absolutePath();
    return true;
}

QString TMainForm::StartFolder() const {
    return lastFileFolder.isEmpty() ? DocumentsFolder() : lastFileFolder;
}

void TMainForm::ShowDifferences(TCompareForm& form) {
    if (seams.compare)
        seams.compare(form);
    else
        form.exec();
}

bool TMainForm::CompareWithFile(const QString& fileName) {
    if (fileName.isEmpty()) return false;
    std::string bytes, error;
    if (!ConfigFile::ReadAll(LocalPath(fileName), bytes, &error)) {
        Desktop::Tell(this, QString("\"%1\" could not be compared: %2.")
                                .arg(fileName, QString::fromLocal8Bit(error.c_str())));
        return false;
    }
    const std::vector<std::string> keys = FileSettingKeys(bytes);
    if (keys.empty()) {
        Desktop::Tell(this, QString("\"%1\" holds no settings of a module.").arg(fileName));
        return false;
    }
    const std::vector<SettingDifference> differences =
        CompareSettings(settings.FileText(), bytes, keys);
    TCompareForm form(this, QStringLiteral("Compare with file"), QStringLiteral("Shown"),
                      QStringLiteral("File"));
    const QString name = QFileInfo(fileName).fileName();
    form.Show(differences,
              differences.empty()
                  ? QString("The values shown equal all %1 settings of \"%2\".")
                        .arg(keys.size())
                        .arg(name)
                  : QString("%1 of the %2 settings of \"%3\" differ from the values shown:")
                        .arg(differences.size())
                        .arg(keys.size())
                        .arg(name));
    ShowDifferences(form);
    return true;
}

void TMainForm::VerifyWritten() {
    // A second set of groups reads the module back, so the window keeps
    // showing what was written whatever the module answers.
    ModuleSettings module;
    module.SetCommunicator(comm.get());
    Failure failure;
    if (module.ReadAll(failure) != nullptr) {
        AddPortLoss(failure);
        errorForm->Report(failure);
        return;
    }
    const std::string written = settings.FileText();
    const std::vector<std::string> keys = settings.WrittenKeys(FileSettingKeys(written));
    const std::vector<SettingDifference> differences =
        CompareSettings(written, module.FileText(), keys);
    TCompareForm form(this, QStringLiteral("Verify after writing"), QStringLiteral("Written"),
                      QStringLiteral("Module"));
    form.Show(differences,
              differences.empty()
                  ? QString("The module holds all %1 settings written.").arg(keys.size())
                  : QString("The module did not take %1 of the %2 settings written:")
                        .arg(differences.size())
                        .arg(keys.size()));
    ShowDifferences(form);
}

QString TMainForm::OpenFileName(const QString& caption) {
    return seams.openFileName ? seams.openFileName()
                              : QFileDialog::getOpenFileName(this, caption, StartFolder(),
                                                             QString::fromLatin1(kFileFilter));
}

void TMainForm::menuCompareWithFileClick() {
    CompareWithFile(OpenFileName(QStringLiteral("Compare with file")));
}

void TMainForm::menuSaveSettingsClick() {
    const QString name =
        seams.saveFileName
            ? seams.saveFileName()
            : QFileDialog::getSaveFileName(this, QStringLiteral("Save settings"), StartFolder(),
                                           QString::fromLatin1(kFileFilter), nullptr,
                                           QFileDialog::DontConfirmOverwrite);
    SaveSettings(name);
}

void TMainForm::menuLoadSettingsClick() {
    LoadSettings(OpenFileName(QStringLiteral("Load settings")));
}
