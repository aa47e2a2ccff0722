#include <repository/database/Log_p.h>
#include <repository/generation/GenerationForms_p.h>

#include <QJsonDocument>

namespace Tolm::SQL::Generation::Stored {

QString jsonText(const QJsonObject &object)
{
    return object.isEmpty() ? QString() : QString::fromUtf8(QJsonDocument(object).toJson());
}

std::optional<QJsonObject> jsonObject(const QString &text, const char *complaint)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (document.isNull() || error.error != QJsonParseError::NoError) {
        log().error() << complaint << error.errorString();
        return std::nullopt;
    }
    return document.object();
}

} // namespace Tolm::SQL::Generation::Stored
