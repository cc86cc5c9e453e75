#include "search_folder.h"

#include <windows.h>

void addSearchFolder(const std::string& folder)
{
    SetDllDirectoryA(folder.c_str());
}
