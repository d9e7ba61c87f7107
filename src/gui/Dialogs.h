#pragma once

#include <QString>

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

    static QString getOpenFileName(QWidget* parent, const QString& caption, const QString& dir,
                                   const QString& filter);
    static QString getSaveFileName(QWidget* parent, const QString& caption, const QString& dir,
                                   const QString& filter);
    static void information(QWidget* parent, const QString& title, const QString& text);

    static void setOpenFileHandler(FileHandler handler);
    static void setSaveFileHandler(FileHandler handler);
    static void setInformationHandler(MessageHandler handler);
    // Back to the standard dialogs.
    static void resetHandlers();
};

} // namespace kelvara
