#include "is_loaded.h"

#include <windows.h>

bool isLoaded(const std::string& name)
{
    return GetModuleHandleA(name.c_str()) != nullptr;
}
