/* Where the fixed paths of the service begin.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* The folder that is put in front of the service's fixed paths ("/tmp/app_ready", "/dev/kmsg", ...), without a slash at
 * its end: "" in a product, a folder of its own in a simulated television. Never NULL; belongs to the platform; does
 * not change while the process runs, so that a file is found again where it was left. */
const char* platform_root(void);

#ifdef __cplusplus
}
#endif
