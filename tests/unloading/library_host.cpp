// Loads a library, lets a module work with it and closes both, over and over. The library has to stay, whatever becomes
// of the module: threads that it started may still be in its code.
//   library_host LIBRARY MODULE

#include <dlfcn.h>

#include <cstdio>

namespace {

void* load(const char* file) {
    void* const handle = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
    }
    return handle;
}

bool isLoaded(const char* file) {
    void* const handle = dlopen(file, RTLD_NOW | RTLD_NOLOAD);
    return handle != nullptr && dlclose(handle) == 0;
}

}  // namespace

int main(int, char** arguments) {
    const char* const library = arguments[1];
    if (isLoaded(library)) {
        std::fprintf(stderr, "the library is there before it is loaded\n");
        return 1;
    }
    for (int round = 0; round < 50; ++round) {
        void* const handle = load(library);
        void* const module = load(arguments[2]);
        if (handle == nullptr || module == nullptr) {
            return 1;
        }
        void* const work = dlsym(module, "work");
        if (work == nullptr) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        reinterpret_cast<void (*)()>(work)();
        if (dlclose(module) != 0 || dlclose(handle) != 0) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        if (!isLoaded(library)) {
            std::fprintf(stderr, "the library goes when it is closed\n");
            return 1;
        }
    }
    return 0;
}
