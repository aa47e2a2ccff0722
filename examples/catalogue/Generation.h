#pragma once

#include <examples/catalogue/CommandLine.h>

namespace Client {

/// Records a folder tree as the next restore point of a generation file, which is made when it is not there.
/// \return whether every entry could be read. Throws Failure when the generation refuses something; what was committed
/// until then stays.
bool recordGeneration(const CommandLine &line);

/// Lists files and folders of a generation file as they stood at a point in time.
/// \return whether there was any. Throws Failure when the generation cannot be read.
bool listGeneration(const CommandLine &line);

} // namespace Client
