#include "platform/AllOrNone.h"

#include "platform/Descriptor.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace allornone {

namespace {

using filewrite::systemFailure;

// The journal's first line: the new files are still being written, or all of them are there.
constexpr char kStaging[] = "staging";
constexpr char kReady[] = "ready";
// Apart from the single-file replace's own ".NEW", which must never take a file of a set.
const QString kSuffix = QStringLiteral(".SET");

// One file of a set: its new file renamed over it, or, without one, its removal.
struct Step {
    QString target;
    QString aside;
};

struct Journal {
    QByteArray state;
    QList<Step> steps;
};

QByteArray encoded(const QByteArray& state, const QList<Step>& steps) {
    QByteArray text = state + '\n';
    for (const Step& step : steps) {
        text += step.aside.isEmpty() ? QByteArray("D ") : QByteArray("R ");
        text += QFile::encodeName(step.target).toPercentEncoding();
        if (!step.aside.isEmpty())
            text += ' ' + QFile::encodeName(step.aside).toPercentEncoding();
        text += '\n';
    }
    return text;
}

Result<Journal> decoded(const QByteArray& text, const QString& path) {
    const Failure garbled{QStringLiteral("Cannot make sense of %1; the files it names may be "
                                         "half changed: look at them, then delete it")
                              .arg(path)};
    QList<QByteArray> lines = text.split('\n');
    if (lines.size() < 2 || !lines.last().isEmpty())
        return garbled;
    lines.removeLast();
    Journal journal{lines.takeFirst(), {}};
    if (journal.state != kStaging && journal.state != kReady)
        return garbled;
    for (const QByteArray& line : lines) {
        const QList<QByteArray> words = line.split(' ');
        const bool renames = words.first() == "R" && words.size() == 3;
        if (!renames && !(words.first() == "D" && words.size() == 2))
            return garbled;
        const auto name = [](const QByteArray& word) {
            return QFile::decodeName(QByteArray::fromPercentEncoding(word));
        };
        journal.steps.append({name(words.at(1)), renames ? name(words.at(2)) : QString()});
    }
    return journal;
}

// Holds the journal's directory for one set at a time, among every program of the board.
class DirectoryLock {
  public:
    explicit DirectoryLock(const QString& directory)
        : fd_(::open(QFile::encodeName(directory).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
          directory_(directory) {}

    Result<> take() {
        if (fd_.get() < 0)
            return systemFailure(QStringLiteral("open the directory"), directory_);
        while (::flock(fd_.get(), LOCK_EX) != 0) {
            if (errno != EINTR)
                return systemFailure(QStringLiteral("lock the directory"), directory_);
        }
        return {};
    }

  private:
    Descriptor fd_;
    QString directory_;
};

Result<> removeIfThere(const QString& path) {
    if (::unlink(QFile::encodeName(path).constData()) != 0 && errno != ENOENT)
        return systemFailure(QStringLiteral("delete"), path);
    return {};
}

Result<> flushDirectories(const QList<Step>& steps, const QString& journal) {
    QSet<QString> directories{QFileInfo(journal).absolutePath()};
    for (const Step& step : steps)
        directories.insert(QFileInfo(step.target).absolutePath());
    for (const QString& directory : directories) {
        if (Result<> flushed = filewrite::flushDirectoryOf(directory + QStringLiteral("/."));
            !flushed)
            return flushed;
    }
    return {};
}

// Every step is done again safely: a new file already renamed is simply no longer there.
Result<> finish(const QList<Step>& steps, const QString& journal) {
    for (const Step& step : steps) {
        if (step.aside.isEmpty()) {
            if (Result<> removed = removeIfThere(step.target); !removed)
                return removed;
        } else if (::rename(QFile::encodeName(step.aside).constData(),
                            QFile::encodeName(step.target).constData()) != 0 &&
                   errno != ENOENT) {
            return systemFailure(QStringLiteral("replace"), step.target);
        }
    }
    if (Result<> flushed = flushDirectories(steps, journal); !flushed)
        return flushed;
    if (Result<> removed = removeIfThere(journal); !removed)
        return removed;
    return filewrite::flushDirectoryOf(journal);
}

Result<> undo(const QList<Step>& steps, const QString& journal) {
    for (const Step& step : steps) {
        if (step.aside.isEmpty())
            continue;
        if (Result<> removed = removeIfThere(step.aside); !removed)
            return removed;
    }
    if (Result<> removed = removeIfThere(journal); !removed)
        return removed;
    return filewrite::flushDirectoryOf(journal);
}

Result<> recoverLocked(const QString& journal) {
    if (!QFileInfo::exists(journal))
        return {};
    const Result<QByteArray> text = fileaccess::readSmall(journal);
    if (!text)
        return failureOf(text);
    const Result<Journal> read = decoded(text.value(), journal);
    if (!read)
        return failureOf(read);
    return read->state == kReady ? finish(read->steps, journal) : undo(read->steps, journal);
}

// Gives up a set whose new files could not all be written, keeping the first reason.
Result<> abandon(const QList<Step>& steps, const QString& journal, const Failure& why) {
    if (Result<> undone = undo(steps, journal); !undone)
        return Failure{why.reason + QStringLiteral("; ") + undone.error()};
    return why;
}

} // namespace

Result<> recover(const QString& journal) {
    // Asked before every change: the lock is taken only when there may be something to do.
    if (!QFileInfo::exists(journal))
        return {};
    DirectoryLock lock(QFileInfo(journal).absolutePath());
    if (Result<> taken = lock.take(); !taken)
        return taken;
    return recoverLocked(journal);
}

Result<> replace(const QString& journal, const QList<Change>& changes) {
    if (changes.isEmpty())
        return {};
    DirectoryLock lock(QFileInfo(journal).absolutePath());
    if (Result<> taken = lock.take(); !taken)
        return taken;
    if (Result<> recovered = recoverLocked(journal); !recovered)
        return recovered;
    QList<Step> steps;
    for (const Change& change : changes) {
        const QString target = change.bytes ? filewrite::landingPath(change.path) : change.path;
        steps.append({target, change.bytes ? target + kSuffix : QString()});
    }
    // Written before the first new file, so that an interruption leaves nothing unaccounted for.
    if (Result<> noted = filewrite::replace(journal, encoded(kStaging, steps)); !noted)
        return noted;
    for (const Change& change : changes) {
        if (!change.bytes)
            continue;
        if (Result<filewrite::Staged> staged =
                filewrite::stage(change.path, *change.bytes, kSuffix);
            !staged)
            return abandon(steps, journal, failureOf(staged));
    }
    if (Result<> ready = filewrite::replace(journal, encoded(kReady, steps)); !ready)
        return abandon(steps, journal, failureOf(ready));
    return finish(steps, journal);
}

} // namespace allornone
