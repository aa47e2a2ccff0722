#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/database/DatabaseConnection.h>

#include <benchmarks/support/Catalogue.h>

#include <QSqlError>

namespace Tolm::Benchmarks {

namespace {

constexpr long long DateModified = 20240310023000;
constexpr long long DateBackup = 20240311040506;
constexpr long long NoDate = 99999999999999;
constexpr long long Size = 123456;
constexpr long long OriginalSize = 234567;
constexpr int IvSize = 16;
constexpr int KeySize = 48;
constexpr char CloudPath[] = "storage/home/user/documents/projects/report/document.txt:/20240310023000/document.txt";
constexpr char LocalPath[] = "/home/user/documents/projects/report/document.txt";
constexpr char UploadId[] = "2~c1b7d7a8f5e94c0fb4d1f0a5e6b7c8d9";
constexpr char PlanId[] = "0f8fad5b-d9cb-469f-a165-70867728950e";

QDateTime utc(long long number)
{
    const QString text = QString::number(number);
    return {QDate::fromString(text.left(8), QStringLiteral("yyyyMMdd")),
            QTime::fromString(text.mid(8), QStringLiteral("hhmmss")), Qt::UTC};
}

} // namespace

void createCatalogue(QPointer<SQL::DatabasePool> &pool)
{
    SQL::DatabaseConnection connection(pool);
    const auto type = connection.dbType();
    const QStringList texts{
        SQL::CloudFolder::createTable(type),
        SQL::CloudFile::createTable(type),
        SQL::CloudFileVersion::createTable(type),
        SQL::History::createTable(type),
        QStringLiteral("CREATE INDEX history_session_local_operation ON history (session_id, local_path, operation)"),
        QStringLiteral("CREATE INDEX history_datefinished ON history (date_finished_utc)"),
        QStringLiteral("CREATE INDEX versions_file ON cloud_file_versions (file_id)"),
        QStringLiteral("CREATE INDEX versions_file_modified ON cloud_file_versions (file_id, date_modified_utc)"),
        QStringLiteral("CREATE INDEX files_dest_date_deleted_utc ON cloud_files (destination_id, date_deleted_utc)"),
        QStringLiteral("CREATE INDEX folders_parent_id ON cloud_folders (parent_id)"),
        QStringLiteral("CREATE INDEX folders_destination_id ON cloud_folders (destination_id)"),
        QStringLiteral("CREATE INDEX files_filename_parentid ON cloud_files (parent_id, file_name)")};
    QSqlQuery query = connection.query();
    for (const QString &text : texts) {
        if (!query.exec(text))
            qFatal("%s: %s", qPrintable(text), qPrintable(query.lastError().text()));
    }
}

SQL::CloudFileVersion sampleVersion()
{
    SQL::CloudFileVersion version;
    version.setFileId(1);
    version.setDateModified(utc(DateModified));
    version.setCloudPath(CloudPath);
    version.setPath(QLatin1String(LocalPath));
    version.setSize(Size);
    version.setOriginalSize(OriginalSize);
    version.setIsCompressed(1);
    version.setIsEncrypted(1);
    version.setUploadId(UploadId);
    version.setDateBackup(utc(DateBackup));
    version.setFileNameIv(QByteArray(IvSize, 'n'));
    version.setEncryptionIv(QByteArray(IvSize, 'i'));
    version.setKdfsalt(QByteArray(IvSize, 's'));
    version.setEncryptionKey(QByteArray(KeySize, 'k'));
    return version;
}

Version plainVersion()
{
    Version version;
    version.fileId = 1;
    version.dateModified = DateModified;
    version.cloudPath = CloudPath;
    version.path = LocalPath;
    version.size = Size;
    version.originalSize = OriginalSize;
    version.datePurgeDelay = NoDate;
    version.isCompressed = 1;
    version.isEncrypted = 1;
    version.uploadId = UploadId;
    version.dateBackup = DateBackup;
    version.fileNameIv.data = std::string(IvSize, 'n');
    version.delimiter = "$";
    version.encryptionIv.data = std::string(IvSize, 'i');
    version.kdfsalt.data = std::string(IvSize, 's');
    version.encryptionKey.data = std::string(KeySize, 'k');
    return version;
}

SQL::History sampleOperation()
{
    SQL::History operation;
    operation.setDestinationId(1);
    operation.setPalnId(QUuid(QLatin1String(PlanId)));
    operation.setLocalPath(QLatin1String(LocalPath));
    operation.setOperationType(1);
    operation.setDuration(7);
    operation.setDateFinished(utc(DateBackup));
    operation.setDateModified(utc(DateModified));
    operation.setSize(Size);
    operation.setMessage(QStringLiteral("Success"));
    operation.setSessionId(1);
    operation.setAttempts(1);
    return operation;
}

Operation plainOperation()
{
    Operation operation;
    operation.planId = PlanId;
    operation.localPath = LocalPath;
    operation.operation = 1;
    operation.duration = 7;
    operation.dateFinished = DateBackup;
    operation.dateModified = DateModified;
    operation.size = Size;
    operation.message = "Success";
    return operation;
}

std::string samplePath(int number)
{
    return std::string(SampleFolder) + "/new-" + std::to_string(number) + ".txt";
}

std::string treePath(int number)
{
    return "/home/user/project-" + std::to_string(number / 1000) + "/module-" + std::to_string(number / 100 % 10) +
           "/src/document-" + std::to_string(number) + ".txt";
}

} // namespace Tolm::Benchmarks
