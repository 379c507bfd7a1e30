/* A product that states no feature, so that every reader keeps its own default. */
#include "system_info.h"

enum
{
    kNotFound = -2
};

int system_info_get_custom_bool(const char* key, bool* value)
{
    return kNotFound;
}

int system_info_get_custom_int(const char* key, int* value)
{
    return kNotFound;
}

int system_info_get_value_int(int key, int* value)
{
    return kNotFound;
}

int system_info_get_value_string(int key, char** value)
{
    return kNotFound;
}
