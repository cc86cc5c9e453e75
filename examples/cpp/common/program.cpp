#include "program.h"

#include "interruption.h"
#include "output_folder.h"

#include "host/host_error.h"

#include <cstdio>
#include <exception>
#include <new>

namespace Harmotrack::Examples {
namespace {

constexpr int kBadInput = 2;
constexpr int kOutputFailed = 1;

} // namespace

int runGuarded(const char* program, const std::function<void()>& run)
{
    try {
        Interruption::install();
        run();
        return 0;
    } catch (const Interrupted& interrupted) {
        Interruption::endBy(interrupted.signal);
    } catch (const Host::HostError& error) {
        std::fprintf(stderr, "%s: %s\n", program, error.what());
        return kBadInput;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "%s: Memory ran out.\n", program);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", program, error.what());
    }
    return kOutputFailed;
}

void print(const std::string& text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw OutputError("The summary could not be printed.");
}

} // namespace Harmotrack::Examples
