// Loads a module, lets it work and unloads it, over and over.
//   host MODULE

#include <dlfcn.h>

#include <cstdio>

int main(int, char** arguments) {
    for (int round = 0; round < 50; ++round) {
        void* const module = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
        if (module == nullptr) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        void* const work = dlsym(module, "work");
        if (work == nullptr) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        reinterpret_cast<void (*)()>(work)();
        dlclose(module);
        if (dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) {
            std::fprintf(stderr, "the module stays loaded\n");
            return 1;
        }
    }
    return 0;
}
