#include "files/Root.h"

#include <lwipc.h>
#include <unistd.h>

#include <string>

int LwipcIsDone(const char* event)
{
    return event != nullptr && ::access(files::UnderRoot(event).c_str(), F_OK) == 0 ? 1 : 0;
}
