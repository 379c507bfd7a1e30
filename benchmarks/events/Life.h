// One life of the whole service, from its own main function to its end.
#pragma once

namespace bench {

// As it is, or with a recording where VYREL_RECORDING names a file: the program is linked with one or the other.
void LiveOnce();

} // namespace bench
