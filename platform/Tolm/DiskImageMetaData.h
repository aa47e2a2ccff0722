#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QDateTime>
#include <QtCore/QSharedPointer>
#include <QtCore/QString>

namespace Tolm::Info {

/// The description of a disk image that is stored beside the image as an XML document. A value without locks: an object
/// belongs to the thread that uses it.
///
/// The document has the root element "DiskImageMetaData" with one child element per field: "CreateDate" (ISO 8601 in
/// UTC with milliseconds), "Compressed", "Encrypted", "BlockLevelBackup" ("true" or "false"), "OriginalSize",
/// "CompressedSize", "PlatformType" (decimal numbers) and "HostName". A host name with characters that XML cannot carry
/// unchanged (control characters) stands there as the Base64 of its UTF-8 bytes, with the attribute encoding="base64".
class TOLM_EXPORT DiskImageMetaData {
public:
    /// The system that the image was taken from. Any other number is carried as it is.
    enum class PlatformType : int {
        Unknown = 0,
        Windows = 1,
        Linux = 2,
    };

    /// Reads a document that toXml() wrote. Elements that are missing leave their field at its default, elements that
    /// are not known are passed over.
    /// @return null when the text is no such document: malformed, cut off, another root element, a value that cannot
    ///         be read, or a document type declaration (toXml() writes none, and entities are not resolved).
    static QSharedPointer<DiskImageMetaData> createFromXml(const QString &xml);

    /// The document. An invalid date, or one outside the years 1 to 9999, is left out and reads back invalid.
    QString toXml() const;

    /// When the image was made; in UTC when read from a document. Invalid when not known.
    QDateTime createDate() const { return m_createDate; }
    void setCreateDate(const QDateTime &createDate) { m_createDate = createDate; }

    bool compressed() const { return m_compressed; }
    void setCompressed(bool compressed) { m_compressed = compressed; }

    bool encrypted() const { return m_encrypted; }
    void setEncrypted(bool encrypted) { m_encrypted = encrypted; }

    /// Size of the imaged disk in bytes.
    unsigned long long originalSize() const { return m_originalSize; }
    void setOriginalSize(unsigned long long originalSize) { m_originalSize = originalSize; }

    /// Size of the stored image in bytes.
    unsigned long long compressedSize() const { return m_compressedSize; }
    void setCompressedSize(unsigned long long compressedSize) { m_compressedSize = compressedSize; }

    QString hostName() const { return m_hostName; }
    void setHostName(const QString &hostName) { m_hostName = hostName; }

    PlatformType platformType() const { return m_platformType; }
    void setPlatformType(PlatformType platformType) { m_platformType = platformType; }

    /// Whether the image holds only the blocks that changed since an earlier one.
    bool blockLevelBackup() const { return m_blockLevelBackup; }
    void setBlockLevelBackup(bool blockLevelBackup) { m_blockLevelBackup = blockLevelBackup; }

private:
    struct Fields;

    QDateTime m_createDate;
    QString m_hostName;
    unsigned long long m_originalSize = 0;
    unsigned long long m_compressedSize = 0;
    PlatformType m_platformType = PlatformType::Unknown;
    bool m_compressed = false;
    bool m_encrypted = false;
    bool m_blockLevelBackup = false;
};

} // namespace Tolm::Info
