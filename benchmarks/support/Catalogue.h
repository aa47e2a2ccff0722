#pragma once

#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/History.h>
#include <repository/database/DatabasePool.h>

#include <benchmarks/support/Sqlite.h>

#include <QPointer>

/// The catalogue's tables as plain values, and the statements over them that the library runs.
namespace Tolm::Benchmarks {

/// Makes the tables and indexes that the benchmarks use.
void createCatalogue(QPointer<SQL::DatabasePool> &pool);

/// A folder to look up, or the one found.
struct FolderKey {
    static constexpr char Select[] =
        "select id, parent_id, destination_id, display_name from cloud_folders where parent_id = :parent_id and "
        "destination_id = :destination_id  and display_name = :display_name limit 1";

    long long parentId = 0;
    long long destinationId = 1;
    std::string displayName;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(parentId), column(destinationId), column(displayName);
    }
};

struct Folder {
    static constexpr char Insert[] = "insert into cloud_folders (display_name, name, parent_id, destination_id) values "
                                     "(:display_name, :name, :parent_id, :destination_id)";

    long long id = 0;
    long long parentId = 0;
    long long destinationId = 1;
    std::string displayName;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(id), column(parentId), column(destinationId), column(displayName);
    }
};

/// A folder to insert.
struct NewFolder {
    std::string displayName;
    std::string name;
    long long parentId = 0;
    long long destinationId = 1;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(displayName), column(name), column(parentId), column(destinationId);
    }
};

struct FileKey {
    static constexpr char Select[] =
        "select id, destination_id, local_path, parent_id, cloud_path, file_name, display_name, size, original_size, "
        "date_modified_utc, is_compressed, is_encrypted, is_simple, is_broken, drive_id, date_deleted_utc, flags from "
        "cloud_files where destination_id = :destination_id and local_path = :local_path limit 1";

    long long destinationId = 1;
    std::string localPath;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(destinationId), column(localPath);
    }
};

/// A file without its id.
struct File {
    static constexpr char Insert[] =
        "insert into cloud_files (destination_id, local_path, parent_id, cloud_path, file_name, display_name, size, "
        "original_size, date_modified_utc, is_compressed, is_encrypted, is_simple, is_broken, drive_id, "
        "date_deleted_utc, flags) values (:destination_id, :local_path, :parent_id, :cloud_path, :file_name, "
        ":display_name, :size, :original_size, :date_modified_utc, :is_compressed, :is_encrypted, :is_simple, "
        ":is_broken, :drive_id, :date_deleted_utc, :flags)";

    long long destinationId = 1;
    std::string localPath;
    long long parentId = 0;
    std::string cloudPath;
    std::string fileName;
    std::string displayName;
    long long size = 0;
    long long originalSize = 0;
    long long dateModified = 0;
    long long isCompressed = 0;
    long long isEncrypted = 0;
    long long isSimple = 0;
    long long isBroken = 0;
    long long driveId = 0;
    long long dateDeleted = 0;
    long long flags = 0;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(destinationId), column(localPath), column(parentId), column(cloudPath), column(fileName),
            column(displayName), column(size), column(originalSize), column(dateModified), column(isCompressed),
            column(isEncrypted), column(isSimple), column(isBroken), column(driveId), column(dateDeleted),
            column(flags);
    }
};

struct FileWithId {
    long long id = 0;
    File file{};

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(id);
        file.visit(column);
    }
};

/// A version without its id.
struct Version {
    static constexpr char Insert[] =
        "insert into cloud_file_versions (file_id, date_modified_utc, cloud_path, history_path, size, original_size, "
        "date_purgeddelay_utc, attributes, is_compressed, is_encrypted, is_simple, is_broken, upload_id, "
        "date_backedup_utc, filenameiv, blocklevel_revision, blocklevel_revision_isfull, delimiter, encryptioniv, "
        "kdfsalt, encryptionkey) values (:file_id, :date_modified_utc, :cloud_path, :history_path, :size, "
        ":original_size, :date_purgeddelay_utc, :attributes, :is_compressed, :is_encrypted, :is_simple, :is_broken, "
        ":upload_id, :date_backedup_utc, :filenameiv, :blocklevel_revision, :blocklevel_revision_isfull, :delimiter, "
        ":encryptioniv, :kdfsalt, :encryptionkey)";
    static constexpr char SelectById[] =
        "select file_id, id, cloud_path, history_path, size, original_size, date_purgeddelay_utc, attributes, "
        "date_modified_utc, is_compressed, is_encrypted, is_simple, is_broken, upload_id, date_backedup_utc, "
        "filenameiv, blocklevel_revision, blocklevel_revision_isfull, delimiter, encryptioniv, kdfsalt, encryptionkey "
        "from cloud_file_versions where id = :id order by date_modified_utc  desc limit 1";
    static constexpr char SelectOfFile[] =
        "select file_id, id, cloud_path, history_path, size, original_size, date_purgeddelay_utc, attributes, "
        "date_modified_utc, is_compressed, is_encrypted, is_simple, is_broken, upload_id, date_backedup_utc, "
        "filenameiv, blocklevel_revision, blocklevel_revision_isfull, delimiter, encryptioniv, kdfsalt, encryptionkey "
        "from cloud_file_versions where file_id = :file_id order by date_modified_utc asc";

    long long fileId = 0;
    long long dateModified = 0;
    std::string cloudPath;
    std::string path;
    long long size = 0;
    long long originalSize = 0;
    long long datePurgeDelay = 0;
    long long attribute = 0;
    long long isCompressed = 0;
    long long isEncrypted = 0;
    long long isSimple = 0;
    long long isBroken = 0;
    std::string uploadId;
    long long dateBackup = 0;
    Bytes fileNameIv;
    long long blockLevelRevision = 0;
    long long blockLevelIsFull = 0;
    std::string delimiter;
    Bytes encryptionIv;
    Bytes kdfsalt;
    Bytes encryptionKey;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(fileId), column(dateModified), column(cloudPath), column(path), column(size), column(originalSize),
            column(datePurgeDelay), column(attribute), column(isCompressed), column(isEncrypted), column(isSimple),
            column(isBroken), column(uploadId), column(dateBackup), column(fileNameIv), column(blockLevelRevision),
            column(blockLevelIsFull), column(delimiter), column(encryptionIv), column(kdfsalt), column(encryptionKey);
    }
};

/// A version as the selects give it.
struct VersionWithId {
    long long id = 0;
    Version version{};

    template <class Visitor>
    void visit(Visitor &&column)
    {
        Version &v = version;
        column(v.fileId), column(id), column(v.cloudPath), column(v.path), column(v.size), column(v.originalSize),
            column(v.datePurgeDelay), column(v.attribute), column(v.dateModified), column(v.isCompressed),
            column(v.isEncrypted), column(v.isSimple), column(v.isBroken), column(v.uploadId), column(v.dateBackup),
            column(v.fileNameIv), column(v.blockLevelRevision), column(v.blockLevelIsFull), column(v.delimiter),
            column(v.encryptionIv), column(v.kdfsalt), column(v.encryptionKey);
    }
};

/// An operation of the history without its id.
struct Operation {
    static constexpr char Insert[] =
        "insert into history(destination_id, plan_id, local_path, operation, duration, date_finished_utc, "
        "date_modified_utc, size, message, session_id, attempts) values (:destination_id, :plan_id, :local_path, "
        ":operation, :duration, :date_finished_utc, :date_modified_utc, :size, :message, :session_id, :attempts)";

    long long destinationId = 1;
    std::string planId;
    std::string localPath;
    long long operation = 0;
    long long duration = 0;
    long long dateFinished = 0;
    long long dateModified = 0;
    long long size = 0;
    std::string message;
    long long sessionId = 1;
    long long attempts = 1;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(destinationId), column(planId), column(localPath), column(operation), column(duration),
            column(dateFinished), column(dateModified), column(size), column(message), column(sessionId),
            column(attempts);
    }
};

/// An operation as "select *" gives it.
struct OperationWithId {
    static constexpr char Select[] = "select * from history where session_id = :session_id limit :limit offset :offset";

    long long id = 0;
    Operation operation{};

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(id);
        operation.visit(column);
    }
};

/// The same record for the library and for the others.
///@{
SQL::CloudFileVersion sampleVersion();
Version plainVersion();
SQL::History sampleOperation();
Operation plainOperation();
///@}

/// The file in this folder of five names below the root that each number stands for.
constexpr char SampleFolder[] = "/home/user/documents/projects/report";
std::string samplePath(int number);

/// The file that each number stands for in a tree that grows: a hundred in each folder, which is as deep as that of
/// samplePath(). As in real trees, many folders have the same name: a look-up that goes by the name alone would show.
std::string treePath(int number);

} // namespace Tolm::Benchmarks
