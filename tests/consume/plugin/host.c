// SPDX-License-Identifier: Apache-2.0
/* Loads each plugin, has it use the library, and unloads it again, with which all must be gone. */
#include <dlfcn.h>
#include <stdio.h>

#include "plugins.h"

static const char *const PATHS[] = {PLUGINS};

static int is_loaded(const char *name) {
    return dlopen(name, RTLD_NOW | RTLD_NOLOAD) != NULL;
}

static int use(const char *path) {
    void *const plugin = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    int (*plugin_main)(void) = NULL;

    if (plugin == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    *(void **)&plugin_main = dlsym(plugin, "plugin_main");
    if (plugin_main == NULL || plugin_main() != 0) {
        fprintf(stderr, "%s did not do its work\n", path);
        return 1;
    }
    if (dlclose(plugin) != 0 || is_loaded(path) || is_loaded("libnuvdds.so.0")) {
        fprintf(stderr, "%s, or the library that it uses, cannot be unloaded\n", path);
        return 1;
    }
    return 0;
}

int main(void) {
    for (int round = 0; round < 2; ++round) {
        for (size_t i = 0; i < sizeof PATHS / sizeof *PATHS; ++i) {
            if (use(PATHS[i]) != 0) {
                return 1;
            }
        }
    }
    return 0;
}
