/* The product's root in a measurement: a folder of the measurement's own, as the real one's settings are somebody's. */
#include <platform_root.h>
#include <stdlib.h>

const char* platform_root(void)
{
    const char* root = getenv("VYREL_BENCH_ROOT");
    if (root == NULL) {
        abort();
    }
    return root;
}
