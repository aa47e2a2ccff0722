#include <platform/SHARED/files_operations.h>

#include <QtCore/QFile>

QString SHARED::functions::files_operations::get_attrib_from_file(const QString &file, const QString &key)
{
    QFile settings(file);
    if (!settings.open(QIODevice::ReadOnly))
        return {};

    while (!settings.atEnd()) {
        // Given a byte array alone, fromUtf8() ends at the first NUL.
        const QByteArray bytes = settings.readLine();
        const QString line = QString::fromUtf8(bytes.constData(), bytes.size()).trimmed();
        const int separator = line.indexOf(QLatin1Char('='));
        if (separator < 0 || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.leftRef(separator).trimmed() == key)
            return line.mid(separator + 1).trimmed();
    }
    return {};
}
