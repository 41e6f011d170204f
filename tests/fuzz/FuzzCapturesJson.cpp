#include "FuzzTarget.h"

#include "capture/CSVLoader.h"
#include "capture/CaptureLibrary.h"

#include <QDir>

// captures.json of a capture folder, read by the library's listing and by the load of one capture.
int fuzzCapturesJson(const std::uint8_t* data, std::size_t size) {
    static const QString folder = [] {
        const QString path = fuzzScratchDir() + QStringLiteral("/library");
        QDir().mkpath(path);
        const QByteArray csv = "timestamp,type,target,value,lost\n2025-06-01T12:00:00Z,ping,1.1.1.1,12.5,0\n";
        writeFuzzFile(path + QStringLiteral("/wifi_capture_20250601T120000Z.csv"),
                      reinterpret_cast<const std::uint8_t*>(csv.constData()),
                      static_cast<std::size_t>(csv.size()));
        return path;
    }();
    static const QString csvName = QStringLiteral("wifi_capture_20250601T120000Z.csv");
    writeFuzzFile(folder + u'/' + CaptureLibrary::capturesJsonName(), data, size);

    const QHash<QString, CaptureMetadata> metadata = CaptureLibrary::loadMetadata(folder);
    for (auto it = metadata.begin(); it != metadata.end(); ++it)
        fuzzCheck(it.key() == it.value().file, "metadata is found by its own file name");

    const std::optional<CSVLoader::LoadedCapture> capture = CSVLoader::load(folder + u'/' + csvName);
    fuzzCheck(capture.has_value(), "the capture itself still loads");
    // The load asks less of each element than the listing, so what the listing accepts it accepts too.
    if (metadata.contains(csvName))
        fuzzCheck(capture->location.has_value() && capture->network.has_value(),
                  "a capture listed with metadata loads with it");
    return 0;
}
