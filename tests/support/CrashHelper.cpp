// A small program that installs the crash handler and then dies in the way its argument names, so that
// tests watch a real crash from outside.
#include "platform/CrashHandler.h"

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include <sys/resource.h>

int main(int argc, char* argv[]) {
    CrashHandler::install(u"norvane-crash-helper");
    // No core files from tests.
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    CrashHandler::noteScreen("running");

    const std::string_view how = argc > 1 ? argv[1] : "segv";
    if (how == "abort")
        std::abort();
    if (how == "raise")
        std::raise(SIGSEGV);
    if (how == "throw")
        throw std::runtime_error("uncaught");
    volatile int* volatile nowhere = nullptr;
    *nowhere = 42;
    return 0;
}
