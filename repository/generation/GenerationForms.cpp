#include <repository/database/Log_p.h>
#include <repository/generation/GenerationForms_p.h>

#include <QJsonDocument>

namespace Tolm::SQL::Generation::Stored {

QVariant storeJson(const QJsonObject &object)
{
    return object.isEmpty() ? QVariant(QString()) : QVariant(QString::fromUtf8(QJsonDocument(object).toJson()));
}

QJsonObject loadJson(const QVariant &stored, const char *complaint)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(stored.toString().toUtf8(), &error);
    if (document.isNull() || error.error != QJsonParseError::NoError) {
        log().error() << complaint << error.errorString();
        return {};
    }
    return document.object();
}

} // namespace Tolm::SQL::Generation::Stored
