#include "FuzzTarget.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

// The libFuzzer side: NORVANE_FUZZ_TARGET names the entry to run; NORVANE_FUZZ_LIST=1 prints every
// target with its longest input and its dictionary ("-" for none) and exits.

namespace {

FuzzEntry chosenEntry = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    if (qEnvironmentVariableIntValue("NORVANE_FUZZ_LIST") == 1) {
        for (const FuzzTarget& target : fuzzTargets())
            std::printf("%s %d %s\n", target.name, target.maxLen,
                        target.dictionary ? target.dictionary : "-");
        std::exit(0);
    }
    const QByteArray wanted = qgetenv("NORVANE_FUZZ_TARGET");
    for (const FuzzTarget& target : fuzzTargets()) {
        if (wanted == target.name)
            chosenEntry = target.entry;
    }
    if (!chosenEntry) {
        std::fprintf(stderr, "NORVANE_FUZZ_TARGET names no target: \"%s\" (NORVANE_FUZZ_LIST=1 lists them)\n",
                     wanted.constData());
        std::exit(2);
    }

    // The log and anything else that finds its way to the home folder go to a home of the run's own.
    static QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    for (const char* variable : {"XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
        qunsetenv(variable);
    // Nothing here reaches for the network; should something start to, it meets a closed loopback port.
    qputenv("NORVANE_SITE_URL", "http://127.0.0.1:9");
    qputenv("NORVANE_PORTAL_PROBE_URL", "http://127.0.0.1:9/generate_204");
    // Left to the end of the process: the logger's worker may still be writing when statics go.
    new QCoreApplication(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return chosenEntry(data, size);
}
