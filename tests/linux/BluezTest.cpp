#include "linux/BluezTest.h"

#include "bluez/Stack.h"
#include "bluez/Tree.h"

namespace linux_test {

std::string BluezTest::Alias()
{
    const bluez::Adapter* adapter = bluez::Stack::Shared().TheAdapter();
    return adapter != nullptr ? adapter->alias : "";
}

} // namespace linux_test
