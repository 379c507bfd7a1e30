#include "sound/Library.h"

#include "Log.h"

#include <dlfcn.h>

#include <cstring>

namespace sound {

namespace {

constexpr const char* kFile = "libpulse.so.0";

template <typename Function>
bool Find(void* library, const char* name, Function& function)
{
    void* const symbol = ::dlsym(library, name);
    static_assert(sizeof(symbol) == sizeof(function));
    std::memcpy(&function, &symbol, sizeof(function));
    return symbol != nullptr;
}

bool Load(Library& functions)
{
    void* const library = ::dlopen(kFile, RTLD_NOW | RTLD_LOCAL);
    bool isWhole = library != nullptr;
#define VYREL_SOUND_FIND(name) isWhole = isWhole && Find(library, #name, functions.name);
    VYREL_SOUND_FUNCTIONS(VYREL_SOUND_FIND)
#undef VYREL_SOUND_FIND
    if (!isWhole) {
        PLATFORM_LOG(DLOG_WARN, "no sound: %s", ::dlerror());
    }
    return isWhole;
}

} // namespace

const Library* Library::Loaded()
{
    static Library functions;
    static const bool isWhole = Load(functions);
    return isWhole ? &functions : nullptr;
}

} // namespace sound
