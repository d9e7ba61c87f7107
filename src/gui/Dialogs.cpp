#include "Dialogs.h"

#include <QFileDialog>
#include <QMessageBox>

namespace kelvara {
namespace {

Dialogs::FileHandler& openHandler()
{
    static Dialogs::FileHandler h;
    return h;
}

Dialogs::FileHandler& saveHandler()
{
    static Dialogs::FileHandler h;
    return h;
}

Dialogs::MessageHandler& infoHandler()
{
    static Dialogs::MessageHandler h;
    return h;
}

} // namespace

QString Dialogs::getOpenFileName(QWidget* parent, const QString& caption, const QString& dir,
                                 const QString& filter)
{
    if (openHandler())
        return openHandler()(parent, caption, dir, filter);
    return QFileDialog::getOpenFileName(parent, caption, dir, filter);
}

QString Dialogs::getSaveFileName(QWidget* parent, const QString& caption, const QString& dir,
                                 const QString& filter)
{
    if (saveHandler())
        return saveHandler()(parent, caption, dir, filter);
    return QFileDialog::getSaveFileName(parent, caption, dir, filter);
}

void Dialogs::information(QWidget* parent, const QString& title, const QString& text)
{
    if (infoHandler()) {
        infoHandler()(parent, title, text);
        return;
    }
    QMessageBox::information(parent, title, text, QMessageBox::Ok);
}

void Dialogs::setOpenFileHandler(FileHandler handler)
{
    openHandler() = std::move(handler);
}

void Dialogs::setSaveFileHandler(FileHandler handler)
{
    saveHandler() = std::move(handler);
}

void Dialogs::setInformationHandler(MessageHandler handler)
{
    infoHandler() = std::move(handler);
}

void Dialogs::resetHandlers()
{
    openHandler() = nullptr;
    saveHandler() = nullptr;
    infoHandler() = nullptr;
}

} // namespace kelvara
