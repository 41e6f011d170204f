// The tour: opens the real main window, visits every screen in both colour schemes, and leaves one
// picture per stop, named "{NN}-{screen}-{state}-{scheme}.png". It fails when a picture comes out blank.

#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "services/FileLogger.h"
#include "views/MainWindow.h"
#include "views/Theme.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QSet>
#include <QTextStream>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

struct Stop {
    QString name; // "{screen}-{state}" or "{screen}"
    std::function<void(MainWindow&)> prepare;
};

// A picture with fewer than a handful of colours is a window that drew nothing.
bool looksBlank(const QImage& image) {
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 7) {
        for (int x = 0; x < image.width(); x += 7) {
            colours.insert(image.pixel(x, y));
            if (colours.size() > 4)
                return false;
        }
    }
    return true;
}

void settle() {
    for (int i = 0; i < 5; ++i)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
}

} // namespace

int main(int argc, char* argv[]) {
    qSetMessagePattern(u"[norvane-tour] %{message}"_s);
    QApplication app(argc, argv);
    QApplication::setOrganizationName(u"Norvane"_s);
    QApplication::setApplicationName(u"Norvane"_s);

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Visits every screen of Norvane and saves a picture of each."_s);
    parser.addHelpOption();
    parser.addOption({u"out"_s, u"Folder for the pictures."_s, u"folder"_s, u"build/tour"_s});
    parser.process(app);
    const QString outDir = parser.value(u"out"_s);
    QDir().mkpath(outDir);

    NorvaneApp norvane(FileLogger::shared());
    norvane.writeLaunchLines();
    norvane.appState();

    MainWindow window;
    window.show();

    const QList<Stop> stops = {
        {u"window"_s, [](MainWindow&) {}},
    };

    QTextStream out(stdout);
    int failures = 0;
    int number = 0;
    for (const Stop& stop : stops) {
        ++number;
        for (const auto scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
            Theme::apply(app, scheme);
            stop.prepare(window);
            settle();
            const QImage picture = window.grab().toImage();
            const QString file = u"%1/%2-%3-%4.png"_s.arg(outDir)
                                     .arg(number, 2, 10, QChar(u'0'))
                                     .arg(stop.name, QString::fromLatin1(Theme::name(scheme)));
            if (looksBlank(picture)) {
                out << "blank picture: " << file << '\n';
                ++failures;
            }
            if (!picture.save(file)) {
                out << "could not write " << file << '\n';
                ++failures;
                continue;
            }
            out << file << '\n';
        }
    }
    FileLogger::shared().waitForIdle();
    return failures == 0 ? 0 : 1;
}
