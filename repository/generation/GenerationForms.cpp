#include <repository/database/Log_p.h>
#include <repository/generation/GenerationForms_p.h>

#include <QHash>
#include <QJsonDocument>

namespace Tolm::SQL::Generation::Stored {

QString jsonText(const QJsonObject &object)
{
    return object.isEmpty() ? QString() : QString::fromUtf8(QJsonDocument(object).toJson());
}

std::optional<QJsonObject> jsonObject(const QString &text, const char *complaint)
{
    // Files that lie together mostly share a few texts, such as an owner and a mode, and parsing one costs more than
    // the rest of its row.
    constexpr int MostKnown = 64;
    constexpr int LongestKnown = 1024;
    thread_local QHash<QString, QJsonObject> known;
    if (const auto found = known.constFind(text); found != known.constEnd())
        return *found;

    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (document.isNull() || error.error != QJsonParseError::NoError) {
        log().error() << complaint << error.errorString();
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    if (text.size() <= LongestKnown) {
        if (known.size() == MostKnown)
            known.clear();
        known.insert(text, object);
    }
    return object;
}

} // namespace Tolm::SQL::Generation::Stored
