#include "search_folder.h"

#include <cstdlib>

void addSearchFolder(const std::string& folder)
{
    setenv("LD_LIBRARY_PATH", folder.c_str(), 1);
}
