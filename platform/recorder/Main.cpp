// vyrel-lite-recorded: the service as it is, and a recording of its life where VYREL_RECORDING names a file.

#include "recorder/Limit.h"
#include "recorder/Recording.h"

#include <cstdlib>

extern "C" int service_main();

int main()
{
    const char* path = std::getenv("VYREL_RECORDING");
    if (path != nullptr && *path != '\0') {
        // Without a recording, the service does what it always does.
        recorder::BeginLife(path, recorder::LimitOf(std::getenv("VYREL_RECORDING_LIMIT")));
    }
    const int status = service_main();
    recorder::EndLife(status);
    return status;
}
