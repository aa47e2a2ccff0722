#include <repository/database/Statistics.h>

#include <examples/catalogue/Features.h>

#include <algorithm>

using Tolm::SQL::Statistics;

namespace Client {

void countRecording(Tolm::SQL::DatabaseConnection &connection)
{
    Statistics recording;
    recording.setId(1);
    recording.setFeatureName(QStringLiteral("Record a folder by hand"));

    // A feature is counted only once it is registered, and registered only once.
    const auto features = Statistics::select(connection).list;
    const bool isRegistered = std::any_of(features.begin(), features.end(),
                                          [&](const auto &feature) { return feature->id() == recording.id(); });
    if (!isRegistered)
        recording.insert(connection);
    Statistics::update(recording.id(), connection);
}

} // namespace Client
