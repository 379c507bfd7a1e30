#include "Life.h"

extern "C" int service_main();

void bench::LiveOnce()
{
    service_main();
}
