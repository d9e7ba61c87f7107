#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

#include <functional>
#include <optional>

namespace kelvara {

// Every file the product reads or writes goes through here, so that the rules hold for all of
// them: reads only from regular files of bounded size (a FIFO would block for ever, /dev/zero
// never ends), writes only through a temporary file in the target folder that replaces the
// target once it is complete. Each failure comes back as a plain-words reason naming the file.

// Projects and settings larger than this were not written by this program.
constexpr qint64 kMaximumControlFileSize = qint64(128) * 1024 * 1024;
// Largest image, in either direction, that the image readers (DICOM and BMP) accept.
constexpr int kMaximumImageSide = 16384;
// An uncompressed image of that size in 32-bit pixels, with room for a header: the largest
// image file either reader takes.
constexpr qint64 kMaximumImageFileSize =
    qint64(kMaximumImageSide) * kMaximumImageSide * 4 + 64 * 1024 * 1024;

// Why an image of width x height pixels is not read ("the image is 20000 x 4 pixels, larger
// than ..."); empty when both sides are within kMaximumImageSide.
QString imageSideProblem(qint64 width, qint64 height);

// The path as it may be shown: a NUL (which would end a C string early) written as "\0".
QString displayPath(const QString& path);

// Why path cannot be read as a regular file of at most maxSize bytes, in plain words without
// the path ("is a FIFO, not a regular file"); empty when it can. For messages that name the file
// their own way.
QString regularFileProblem(const QString& path, qint64 maxSize);

// True when path names an existing regular file (symbolic links followed) of at most maxSize
// bytes; otherwise false with *error saying why ("'x': is a FIFO, not a regular file").
bool checkRegularFile(const QString& path, qint64 maxSize, QString* error);

// The whole file after checkRegularFile; nothing, with *error set, when it cannot be read.
std::optional<QByteArray> readRegularFile(const QString& path, qint64 maxSize, QString* error);

// The SHA-256 of the file's bytes, in lower-case hex; nothing, with *error set, when the file
// cannot be read (same checks as readRegularFile, read in pieces).
std::optional<QString> sha256OfFile(const QString& path, qint64 maxSize, QString* error);

// Writes bytes to a temporary file beside path and renames it over path only after every byte
// was written and flushed. On failure the previous file is left byte-identical, no temporary
// file remains, and *error names the file and the reason.
bool writeFileAtomically(const QString& path, const QByteArray& bytes, QString* error);

// A file in a folder that is not yet in place (a staging folder that is renamed as a whole once
// complete): written and checked but neither renamed nor synced on its own, since the folder's
// rename is what makes it visible. A file that fails is removed. Not for anything else.
bool writeStagedFile(const QString& path, const QByteArray& bytes, QString* error);

// The image encoded in memory (format as QImageWriter names it, e.g. "PNG"; quality as
// QImageWriter takes it); nothing, with *error naming path, when it cannot be encoded.
std::optional<QByteArray> encodeImage(const QString& path, const QImage& image, const char* format,
                                      int quality, QString* error);

// encodeImage, then written as writeFileAtomically writes.
bool writeImageAtomically(const QString& path, const QImage& image, const char* format,
                          int quality, QString* error);

// Folders written as a whole: files go into a staging folder, which then takes the target's
// place in one step, so that a reader sees the earlier folder or the complete new one, never a
// mixture.

// A new empty folder inside parent, hidden (its name starts with '.') and unique to this call,
// so that neither a visible folder nor another process's staging folder can be taken for it.
// Its name says which process made it (host, boot, pid namespace, pid and the pid's start
// time), so that a later process can tell one left by a process that is gone. Empty, with
// *error set, when it cannot be made.
QString createStagingFolder(const QString& parent, QString* error);

// Removes the staging folders in parent whose process is gone (killed before it could remove
// them): those of this host made before it last started, and those of a pid of this host's pid
// namespace that no longer runs or now belongs to a later process. A live process's folder, or
// one of another host or namespace (whose process cannot be checked from here), stays. Returns
// the folders removed; what could not be removed is added to *problems.
QStringList removeStaleStagingFolders(const QString& parent, QStringList* problems);

// Puts staging in the place of target. Nothing at target: staging is renamed. A folder at
// target is replaced only when mayReplace(target) says so: swapped out whole in one step and
// removed (never merged with the new files); when it cannot be removed it is swapped back.
// Anything else at target (a file, a link, a folder mayReplace refuses, an earlier folder that
// cannot be removed) is left untouched and *targetKept set. On failure target is left as it
// was, staging is removed, and *error names target and the reason.
bool replaceFolder(const QString& staging, const QString& target,
                   const std::function<bool(const QString&)>& mayReplace, QString* error,
                   bool* targetKept = nullptr);

// True when path is a folder (not a link to one) whose contents this process may remove: it and
// every folder below it can be written and searched (rights, immutable flag, read-only mount).
bool folderContentsRemovable(const QString& path);

// Removes the folder and everything in it (an unfinished staging folder, an earlier result that
// must not outlive a failed run). True when nothing is left at path.
bool removeFolder(const QString& path, QString* error);

} // namespace kelvara
