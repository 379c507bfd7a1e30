// What a change callback is handed: the key that was written, and the value of that very write. Callers of the
// platform's functions know this record by name only.
#pragma once

#include "Value.h"

#include <string>

struct keynode
{
    std::string key;
    settings::Value value;
};

namespace settings {

// Called on the main loop for one write. The node lives during the call only.
using ChangeFunction = void (*)(keynode* node, void* userData);

// The value written: 0 when the node is null or was not written as an int.
int KeyNodeInt(const keynode* node);

// The value written: false when the node is null or was not written as a bool.
bool KeyNodeBool(const keynode* node);

// The value written, borrowed from the node: "" when the node is null or was not written as a string.
char* KeyNodeStr(keynode* node);

} // namespace settings
