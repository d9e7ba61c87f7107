#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QWidget;

namespace kelvara {

// The one seam through which the window asks the user for file names and shows messages.
// Tests (and any non-interactive front end) replace the handlers; by default they are the
// standard QFileDialog / QMessageBox calls.
class Dialogs
{
public:
    using FileHandler = std::function<QString(QWidget* parent, const QString& caption,
                                              const QString& dir, const QString& filter)>;
    using MessageHandler =
        std::function<void(QWidget* parent, const QString& title, const QString& text)>;
    using FolderHandler =
        std::function<QString(QWidget* parent, const QString& caption, const QString& dir)>;
    // The index of the chosen item, or -1 when the user cancels.
    using ChoiceHandler = std::function<int(QWidget* parent, const QString& title,
                                            const QString& label, const QStringList& items)>;

    static QString getOpenFileName(QWidget* parent, const QString& caption, const QString& dir,
                                   const QString& filter);
    static QString getSaveFileName(QWidget* parent, const QString& caption, const QString& dir,
                                   const QString& filter);
    static void information(QWidget* parent, const QString& title, const QString& text);
    static QString getExistingDirectory(QWidget* parent, const QString& caption,
                                        const QString& dir);
    static int chooseItem(QWidget* parent, const QString& title, const QString& label,
                          const QStringList& items);

    static void setOpenFileHandler(FileHandler handler);
    static void setSaveFileHandler(FileHandler handler);
    static void setInformationHandler(MessageHandler handler);
    static void setFolderHandler(FolderHandler handler);
    static void setChoiceHandler(ChoiceHandler handler);
    // Back to the standard dialogs.
    static void resetHandlers();
};

} // namespace kelvara
