#include "is_loaded.h"

#include <dlfcn.h>

bool isLoaded(const std::string& name)
{
    void* const library = dlopen(name.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) dlclose(library);
    return library != nullptr;
}
