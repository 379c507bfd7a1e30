#include "Life.h"
#include "recorder/Recording.h"
#include "recorder/Sink.h"

#include <cstdlib>
#include <stdexcept>

extern "C" int service_main();

void bench::LiveOnce()
{
    const char* path = std::getenv("VYREL_RECORDING");
    // Without a recording the recorder lets everything pass, and would be measured as if it cost nothing.
    if (path == nullptr || !recorder::BeginLife(path, recorder::kUsualLimit)) {
        throw std::runtime_error("nothing is recorded");
    }
    recorder::EndLife(service_main());
}
