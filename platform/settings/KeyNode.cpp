#include "KeyNode.h"

#include <variant>

namespace settings {

int KeyNodeInt(const keynode* node)
{
    const int* value = node != nullptr ? std::get_if<int>(&node->value) : nullptr;
    return value != nullptr ? *value : 0;
}

bool KeyNodeBool(const keynode* node)
{
    const bool* value = node != nullptr ? std::get_if<bool>(&node->value) : nullptr;
    return value != nullptr && *value;
}

char* KeyNodeStr(keynode* node)
{
    static char none[] = "";
    std::string* value = node != nullptr ? std::get_if<std::string>(&node->value) : nullptr;
    return value != nullptr ? value->data() : none;
}

} // namespace settings
