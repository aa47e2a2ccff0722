#pragma once

#include <repository/catalog/ArchiveBunches.h>
#include <repository/catalog/ArchiveGenerations.h>
#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/catalog/Destination.h>
#include <repository/catalog/DiskImage.h>
#include <repository/catalog/History.h>
#include <repository/catalog/SessionHistory.h>

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <QVersionNumber>

#include <limits>
#include <ostream>
#include <random>

/// What a failed expectation shows of a text.
inline void PrintTo(const QString &text, std::ostream *stream)
{
    *stream << '"' << text.toStdString() << '"';
}

/// Values that have hurt a catalogue, and records as lines of text, so that a whole record is compared at once.
namespace Tolm::Tests {

inline constexpr quint64 Largest = std::numeric_limits<qint64>::max();

inline QDateTime utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    return {QDate(year, month, day), QTime(hour, minute, second), Qt::UTC};
}

/// File and folder names without "/".
inline QStringList awkwardNames()
{
    return {"50%_off [x]^",          "'quoted' \"twice\" `back`", "C:\\back\\slash", ":id ? $1 %1 --",
            "two\nlines\tand a tab", " blanks around ",           "Жук ÄÖÜ é",       "\uFF21 \uFFFD \uE000",
            "\U0001F5C4 \U00020000", "\U000E0041 \U000F0000",     "\U0010FFFD",      QString(600, 'n')};
}

/// Text in which a database finds nothing to compress, always the same.
inline QString incompressible(int length)
{
    static constexpr char Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::mt19937 random(4711);
    QString text(length, Qt::Uninitialized);
    for (QChar &character : text)
        character = QLatin1Char(Alphabet[random() % 64]);
    return text;
}

inline QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

inline QString shown(const QString &text)
{
    return text.isNull() ? QStringLiteral("NULL") : '\'' + text + '\'';
}

inline QString shown(const QByteArray &bytes)
{
    return bytes.isNull() ? QStringLiteral("NULL") : "x" + QString::fromLatin1(bytes.toHex());
}

inline QString shown(const QDateTime &date)
{
    return date.isValid() ? date.toString(Qt::ISODate) : QStringLiteral("none");
}

inline QString shown(const QUuid &uuid)
{
    return uuid.toString();
}

template <class T>
QString shown(T number)
{
    if constexpr (std::is_enum_v<T>)
        return QString::number(static_cast<int>(number));
    else
        return QString::number(number);
}

template <class... Field>
QString rowOf(const Field &...field)
{
    return QStringList{shown(field)...}.join('|');
}

inline QString shown(const SQL::CloudFolder &folder)
{
    return rowOf(folder.id(), folder.destintionId(), folder.parentId(), folder.displayName(), folder.name());
}

inline QString shown(const SQL::CloudFile &file)
{
    return rowOf(file.id(), file.destinationId(), file.parentId(), file.localPath(), file.displayName(), file.name(),
                 file.cloudPath(), file.size(), file.originalSize(), file.dateModified(), file.dateDeleted(),
                 file.isCompressed(), file.isEncrypted(), file.isSimple(), file.isBroken());
}

inline QString shown(const SQL::CloudFileVersion &version)
{
    return rowOf(version.id(), version.fileId(), version.path(), version.cloudPath(), version.uploadId(),
                 version.size(), version.originalSize(), version.dateModified(), version.datePurgeDelay(),
                 version.dateBackup(), version.attribute(), version.isCompressed(), version.isEncrypted(),
                 version.isSimple(), version.isBroken(), version.blockLevelRevision(), version.blockLevelIsFull(),
                 version.versionDelimiter(), version.fileNameIv(), version.encryptionIv(), version.kdfsalt(),
                 version.encryptionKey());
}

inline QString shown(const SQL::Destination &destination)
{
    return rowOf(destination.id(), destination.cloudType(), destination.accountId(), destination.container(),
                 destination.prefix(), destination.lastSyncTime(), destination.usedSpace(), destination.fileCount(),
                 destination.folderCount());
}

inline QString shown(const SQL::SessionHistory &run)
{
    return rowOf(run.id(), run.destinationId(), run.palnId(), run.dateStart(), run.duration(), run.result().value(),
                 run.uploadedCount(), run.uploadedSize(), run.scannedCount(), run.scannedSize(), run.purgedCount(),
                 run.totalCount(), run.totalSize(), run.failedCount(), run.errorMessage(), run.processorTime(),
                 run.peerMemmoryUsage(), run.diffSize(), run.detailedReportUrl(), run.steps());
}

inline QString shown(const SQL::History &operation)
{
    return rowOf(operation.id(), operation.destinationId(), operation.palnId(), operation.localPath(),
                 operation.operationType(), operation.duration(), operation.dateFinished(), operation.dateModified(),
                 operation.size(), operation.message(), operation.sessionId(), operation.attempts(),
                 operation.planName());
}

inline QString shown(const SQL::DiskImage &image)
{
    return rowOf(image.id(), image.size(), image.originalSize(), image.dateCreate(), image.isCompressed(),
                 image.isEncrypted(), image.backupFolderName(), image.destinationId(), image.hostName(), image.xml(),
                 image.platformType(), image.isBlockLevel(), image.needDecrypt());
}

inline QString shown(const SQL::ArchiveBunches &bunch)
{
    return rowOf(bunch.id(), bunch.folderId(), bunch.displayName(), bunch.type(), bunch.destinationId(), bunch.planId(),
                 bunch.metaFileName());
}

inline QString shown(const SQL::ArchiveGenerations &generation)
{
    return rowOf(generation.id(), generation.bunchId(), generation.marker(), generation.format().toString(),
                 generation.number(), generation.type(), generation.fullBackupReason(), generation.brokenType(),
                 generation.hint(), generation.errorList(), generation.customPurge(), generation.uploadedFilesSize());
}

template <class Record>
QString shown(const QSharedPointer<Record> &record)
{
    return record ? shown(*record) : QStringLiteral("nothing");
}

template <class Record>
QStringList shown(const QList<QSharedPointer<Record>> &records)
{
    QStringList rows;
    for (const QSharedPointer<Record> &record : records)
        rows.append(shown(*record));
    return rows;
}

/// One field of each record, in order.
template <class Record, class Getter>
QStringList each(const QList<QSharedPointer<Record>> &records, Getter getter)
{
    QStringList values;
    for (const QSharedPointer<Record> &record : records)
        values.append(((*record).*getter)());
    return values;
}

template <class Record>
QList<quint64> ids(const QList<QSharedPointer<Record>> &records)
{
    QList<quint64> ids;
    for (const QSharedPointer<Record> &record : records)
        ids.append(record->id());
    return ids;
}

} // namespace Tolm::Tests
