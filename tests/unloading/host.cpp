// Loads a module, lets it work and unloads it, over and over; around that, if there is one, a library that the module
// uses. The library has to stay, whatever becomes of the module: threads that it started may still be in its code.
//   host MODULE [LIBRARY]

#include <dlfcn.h>

#include <cstdio>

namespace {

/// Null, and said why, unless there is one.
void* orTold(void* found) {
    if (found == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
    }
    return found;
}

bool isLoaded(const char* file) {
    void* const handle = dlopen(file, RTLD_NOW | RTLD_NOLOAD);
    return handle != nullptr && dlclose(handle) == 0;
}

bool useModule(const char* file) {
    void* const module = orTold(dlopen(file, RTLD_NOW | RTLD_LOCAL));
    void* const work = module != nullptr ? orTold(dlsym(module, "work")) : nullptr;
    if (work == nullptr) {
        return false;
    }
    reinterpret_cast<void (*)()>(work)();
    dlclose(module);
    if (isLoaded(file)) {
        std::fprintf(stderr, "the module stays loaded\n");
        return false;
    }
    return true;
}

/// The same while a library is loaded once more.
bool useLibrary(const char* library, const char* module) {
    void* const handle = orTold(dlopen(library, RTLD_NOW | RTLD_LOCAL));
    if (handle == nullptr || !useModule(module)) {
        return false;
    }
    dlclose(handle);
    if (!isLoaded(library)) {
        std::fprintf(stderr, "the library goes when it is closed\n");
        return false;
    }
    return true;
}

}  // namespace

int main(int count, char** arguments) {
    const char* const module = arguments[1];
    const char* const library = count > 2 ? arguments[2] : nullptr;
    if (library != nullptr && isLoaded(library)) {
        std::fprintf(stderr, "the library is there before it is loaded\n");
        return 1;
    }
    for (int round = 0; round < 50; ++round) {
        if (!(library != nullptr ? useLibrary(library, module) : useModule(module))) {
            return 1;
        }
    }
    return 0;
}
