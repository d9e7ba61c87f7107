#include "Dialogs.h"

#include <QFileDialog>
#include <QInputDialog>
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

Dialogs::FolderHandler& folderHandler()
{
    static Dialogs::FolderHandler h;
    return h;
}

Dialogs::ChoiceHandler& choiceHandler()
{
    static Dialogs::ChoiceHandler h;
    return h;
}

} // namespace

QString Dialogs::getExistingDirectory(QWidget* parent, const QString& caption, const QString& dir)
{
    if (folderHandler())
        return folderHandler()(parent, caption, dir);
    return QFileDialog::getExistingDirectory(parent, caption, dir);
}

int Dialogs::chooseItem(QWidget* parent, const QString& title, const QString& label,
                        const QStringList& items)
{
    if (choiceHandler())
        return choiceHandler()(parent, title, label, items);
    bool ok = false;
    const QString item = QInputDialog::getItem(parent, title, label, items, 0, false, &ok);
    return ok ? int(items.indexOf(item)) : -1;
}

void Dialogs::setFolderHandler(FolderHandler handler)
{
    folderHandler() = std::move(handler);
}

void Dialogs::setChoiceHandler(ChoiceHandler handler)
{
    choiceHandler() = std::move(handler);
}

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
    folderHandler() = nullptr;
    choiceHandler() = nullptr;
}

} // namespace kelvara
