// A small program that installs the crash handler and then dies in the way its argument names, so that
// tests watch a real crash from outside.
#include "platform/CrashHandler.h"

#include <csignal>
#include <stdexcept>
#include <string_view>

#include <sys/mman.h>
#include <sys/resource.h>

int main(int argc, char* argv[]) {
    CrashHandler::install(u"norvane-crash-helper");
    // No core files from tests.
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    CrashHandler::noteScreen("running");

    const std::string_view how = argc > 1 ? argv[1] : "segv";
    if (how == "raise")
        std::raise(SIGSEGV);
    if (how == "throw")
        throw std::runtime_error("uncaught");
    // A page that may not be touched, rather than a null pointer, which the undefined-behaviour
    // sanitizer would stop before the processor does.
    void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    *static_cast<volatile int*>(page) = 42;
    return 0;
}
