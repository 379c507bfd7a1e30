#pragma once

namespace support {

/// From now on the folders of this process, and of its forks, are removed also when it is killed in a way that leaves
/// it no time: a process of its own is told of each support::TempDir, and removes what is left when the last process
/// has gone that could still write there. For the start of a program.
///
/// That process is started with the first folder. It is nobody's child, keeps nothing open but its socket, and no
/// signal to the test or its terminal reaches it. Where it cannot be started, all is as without it.
void KeepFolders();

} // namespace support
