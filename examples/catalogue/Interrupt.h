#pragma once

namespace Client {

/// From now on the first SIGINT or SIGTERM is only taken note of; a second one ends the process as usual.
void watchForInterrupt();

/// Whether one has come.
bool interrupted();

} // namespace Client
