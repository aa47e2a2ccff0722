#include <platform/Tolm/DiskImageMetaData.h>

#include <QtCore/QXmlStreamReader>
#include <QtCore/QXmlStreamWriter>

#include <algorithm>

namespace Tolm::Info {

/// The document's elements and the fields that they stand for, in writing order.
struct DiskImageMetaData::Fields {
    template <typename MetaData, typename Visitor>
    static void visit(MetaData &metaData, const Visitor &visitor)
    {
        visitor(QStringLiteral("CreateDate"), metaData.m_createDate);
        visitor(QStringLiteral("Compressed"), metaData.m_compressed);
        visitor(QStringLiteral("Encrypted"), metaData.m_encrypted);
        visitor(QStringLiteral("OriginalSize"), metaData.m_originalSize);
        visitor(QStringLiteral("CompressedSize"), metaData.m_compressedSize);
        visitor(QStringLiteral("HostName"), metaData.m_hostName);
        visitor(QStringLiteral("PlatformType"), metaData.m_platformType);
        visitor(QStringLiteral("BlockLevelBackup"), metaData.m_blockLevelBackup);
    }
};

namespace {

using PlatformType = DiskImageMetaData::PlatformType;

const QLatin1String rootName("DiskImageMetaData");
const QLatin1String encodingName("encoding");
const QLatin1String base64Name("base64");

/// Whether an XML 1.0 document carries the text unchanged: production [2] "Char" of https://www.w3.org/TR/xml/, without
/// the carriage return, which readers turn into a line feed.
bool xmlCarries(const QString &text)
{
    const auto characters = text.toUcs4();
    return std::all_of(characters.begin(), characters.end(), [](uint c) {
        return c == '\t' || c == '\n' || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) || c >= 0x10000;
    });
}

void write(QXmlStreamWriter &xml, const QString &name, const QDateTime &value)
{
    const QString text = value.toUTC().toString(Qt::ISODateWithMs);
    if (!text.isEmpty())
        xml.writeTextElement(name, text);
}

void write(QXmlStreamWriter &xml, const QString &name, bool value)
{
    xml.writeTextElement(name, value ? QStringLiteral("true") : QStringLiteral("false"));
}

void write(QXmlStreamWriter &xml, const QString &name, unsigned long long value)
{
    xml.writeTextElement(name, QString::number(value));
}

void write(QXmlStreamWriter &xml, const QString &name, PlatformType value)
{
    xml.writeTextElement(name, QString::number(static_cast<int>(value)));
}

void write(QXmlStreamWriter &xml, const QString &name, const QString &value)
{
    xml.writeStartElement(name);
    if (xmlCarries(value)) {
        xml.writeCharacters(value);
    } else {
        xml.writeAttribute(encodingName, base64Name);
        xml.writeCharacters(QString::fromLatin1(value.toUtf8().toBase64()));
    }
    xml.writeEndElement();
}

bool read(QXmlStreamReader &xml, QDateTime &value)
{
    const QDateTime date = QDateTime::fromString(xml.readElementText().trimmed(), Qt::ISODateWithMs);
    value = date.toUTC();
    // A text without a zone would mean another moment on every machine.
    return date.isValid() && date.timeSpec() != Qt::LocalTime;
}

bool read(QXmlStreamReader &xml, bool &value)
{
    const QString text = xml.readElementText().trimmed();
    value = text == QLatin1String("true");
    return value || text == QLatin1String("false");
}

bool read(QXmlStreamReader &xml, unsigned long long &value)
{
    bool ok = false;
    value = xml.readElementText().toULongLong(&ok);
    return ok;
}

bool read(QXmlStreamReader &xml, PlatformType &value)
{
    bool ok = false;
    value = static_cast<PlatformType>(xml.readElementText().toInt(&ok));
    return ok;
}

bool read(QXmlStreamReader &xml, QString &value)
{
    const QString encoding = xml.attributes().value(encodingName).toString();
    value = xml.readElementText();
    if (encoding.isEmpty())
        return true;
    const auto decoded = QByteArray::fromBase64Encoding(value.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    // Given a byte array alone, fromUtf8() ends at the first NUL.
    value = QString::fromUtf8((*decoded).constData(), (*decoded).size());
    return encoding == base64Name && decoded;
}

} // namespace

QSharedPointer<DiskImageMetaData> DiskImageMetaData::createFromXml(const QString &xml)
{
    // The reader would resolve a document's own entities, and a few lines of them can grow without measure.
    if (xml.contains(QLatin1String("<!DOCTYPE")))
        return {};

    QXmlStreamReader reader(xml);
    if (!reader.readNextStartElement() || reader.qualifiedName() != rootName)
        return {};

    auto metaData = QSharedPointer<DiskImageMetaData>::create();
    while (reader.readNextStartElement()) {
        const QString element = reader.qualifiedName().toString();
        bool known = false;
        bool readable = true;
        Fields::visit(*metaData, [&](const QString &name, auto &value) {
            if (element == name) {
                known = true;
                readable = read(reader, value);
            }
        });
        if (!readable)
            return {};
        if (!known)
            reader.skipCurrentElement();
    }

    // Only the end of the text tells that nothing is missing and nothing follows.
    while (!reader.atEnd())
        reader.readNext();
    if (reader.hasError())
        return {};
    return metaData;
}

QString DiskImageMetaData::toXml() const
{
    QString text;
    QXmlStreamWriter writer(&text);
    writer.setAutoFormatting(true);
    writer.writeStartDocument();
    writer.writeStartElement(rootName);
    Fields::visit(*this, [&](const QString &name, const auto &value) { write(writer, name, value); });
    writer.writeEndDocument();
    return text;
}

} // namespace Tolm::Info
