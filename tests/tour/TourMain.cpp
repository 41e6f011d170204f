// The tour: opens the real main window, visits every screen in both colour schemes, and leaves one
// picture per stop, named "{NN}-{screen}-{state}-{scheme}.png". It fails when a picture comes out blank.

#include "TourSteps.h"

#include "base/VirtualClock.h"
#include "cli/Replay.h"
#include "core/AppState.h"
#include "core/NorvaneApp.h"
#include "platform/Locations.h"
#include "platform/Platform.h"
#include "screens/BootstrapScreen.h"
#include "screens/CapturePickerScreen.h"
#include "screens/DiagnosticsScreen.h"
#include "screens/SettingsScreen.h"
#include "services/ConnectivityDiagnostics.h"
#include "services/FileLogger.h"
#include "services/UpdateLogger.h"
#include "services/VersionCheck.h"
#include "subprocess/PythonProcess.h"
#include "support/AppStateTestAccess.h"
#include "support/BootstrapTestAccess.h"
#include "support/NetworkFakes.h"
#include "support/TestPaths.h"
#include "support/UpdateStandIns.h"
#include "views/BootstrapView.h"
#include "views/CapturePickerWindow.h"
#include "views/CaptureReport.h"
#include "views/DiagnosticsView.h"
#include "views/MainWindow.h"
#include "views/SettingsView.h"
#include "views/Theme.h"
#include "views/UpdateRequiredView.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPixmap>
#include <QProcess>
#include <QPushButton>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

struct Stop {
    QString name; // "{screen}-{state}"
    std::function<void()> prepare;
    // The window in the picture and the alert drawn over it; the main window and its quit question
    // unless a stop names another.
    std::function<QWidget*()> subject = {};
    std::function<QMessageBox*()> alert = {};
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

// The history window's scan runs on another thread; its end arrives as an event.
void waitForScan(CapturePickerWindow& window) {
    QElapsedTimer waited;
    waited.start();
    while (window.screen().library().isLoading() && waited.elapsed() < 30'000)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    settle();
}

QByteArray recording(const QString& name) {
    QFile file(QStringLiteral(NORVANE_TOUR_DATA_DIR) + u'/' + name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read the tour's recording %s", qPrintable(file.fileName()));
    return file.readAll();
}

// The start of a recording, up to and with its `count`-th status event.
QByteArray firstSeconds(const QByteArray& recording, int count) {
    QByteArray start;
    int statuses = 0;
    for (const QByteArray& line : recording.split('\n')) {
        start += line + '\n';
        if (line.contains("\"event\":\"status\"") && ++statuses == count)
            break;
    }
    return start;
}

// A window as the user sees it, with a dialog of its own drawn where the desktop would put it.
QImage picture(QWidget& window, QMessageBox* alert) {
    QImage image = window.grab().toImage();
    if (alert && alert->isVisible()) {
        const QImage dialog = alert->grab().toImage();
        QPainter painter(&image);
        painter.fillRect(image.rect(), QColor(0, 0, 0, 60));
        const QPoint corner((image.width() - dialog.width()) / 2, image.height() / 4);
        painter.drawImage(corner, dialog);
    }
    return image;
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

    // The whole tour runs on a clock of its own, so that two minutes of capture take no time at all.
    const QByteArray good = recording(u"good-two-minutes.jsonl"_s);
    const QByteArray geo = recording(u"geo-two-minutes.jsonl"_s);
    const QByteArray goodComplete = recording(u"good-complete-two-minutes.jsonl"_s);
    const QByteArray cellularComplete = recording(u"cellular-complete-two-minutes.jsonl"_s);
    // The tool says who it is, then gives up at once.
    const QByteArray failedAtOnce =
        goodComplete.left(goodComplete.indexOf('\n') + 1) +
        R"({"event":"error","message":"Speed test server unreachable: connection refused","fatal":true})"
        "\n";
    VirtualClock time(Replay::firstTimestamp(good).value_or(VirtualClock::defaultStart()).addSecs(-5));
    ScopedVirtualTime scope(time);

    // Past captures for the results and the history: two recorded from the simulator, and one of six
    // hours generated on the spot, too large to keep in the repository.
    const QString captures = PythonProcess::outputDirectory();
    TourSteps::copyFolder(QStringLiteral(NORVANE_TOUR_DATA_DIR) + u"/captures"_s, captures);
    const QString goodCsv = captures + u"/wifi_capture_20261121T091500Z.csv"_s;
    const QString flakyCsv = captures + u"/wifi_capture_20261121T183000Z.csv"_s;
    const QString sixHourCsv = captures + u"/wifi_capture_20261120T060000Z.csv"_s;
    if (!QFile::exists(sixHourCsv)) {
        const int generated = QProcess::execute(
            u"python3"_s, {QStringLiteral(NORVANE_SIMULATOR_DIR) + u"/gen_capture.py"_s, u"--rows"_s,
                           u"113000"_s, u"--seed"_s, u"3"_s, u"--out"_s, sixHourCsv, u"--register"_s});
        if (generated != 0)
            qFatal("could not generate the six-hour capture");
    }

    // The version gate reads rules of the tour's own and fetches nothing; the tour raises the minimum
    // on the way, as the site would. The updater is a stand-in that finds version 2.1 when told.
    QTemporaryDir gateDir;
    const QString running = Platform::appVersion();
    VersionCheck gate(
        running, FileLogger::shared(),
        {gateDir.path() + u"/version_check.json"_s, gateDir.path() + u"/no-bundled-rules.json"_s, QString()});
    UpdateLogger updateListener(FileLogger::shared());
    StandInUpdater updater;
    const UpdateItem newerVersion{u"2.1"_s, u"210"_s};
    NorvaneApp norvane(FileLogger::shared(),
                       {[&gate]() -> VersionCheck& { return gate; },
                        [&updateListener]() -> UpdateLogger& { return updateListener; }});
    norvane.setUpdater(&updater);
    norvane.writeLaunchLines();
    AppState& state = norvane.appState();

    MainWindow window(norvane);
    window.show();

    CaptureConfig hotel;
    hotel.location = u"Hotel Aurora, room 412"_s;
    hotel.network = u"Aurora-Guest"_s;
    hotel.durationString = u"5m"_s;
    CaptureConfig flight = hotel;
    flight.location = u"Flight LX 38, seat 14A"_s;
    flight.network = u"SkyConnect"_s;
    CaptureConfig train = hotel;
    train.location = u"Train ICE 1012, coach 7"_s;
    train.network = u"Pixel hotspot"_s;

    // Each capture starts from the setup screen, as a user's would, so that every view is built anew.
    auto startCapture = [&](const CaptureConfig& config) {
        state.newCapture();
        state.startReplay(config);
        settle();
    };
    // A recording made on another day starts where its clock starts; nothing runs on the way there.
    auto playFinished = [&](const CaptureConfig& config, const QByteArray& stream) {
        state.newCapture();
        const QDateTime start = Replay::firstTimestamp(stream).value_or(time.now()).addSecs(-5);
        if (start > time.now())
            time.jump(double(time.now().msecsTo(start)) / 1000.0);
        state.startReplay(config);
        Replay::play(stream, state, time);
        settle();
    };

    // A new width lays the honeycomb out afresh, so the capture plays again at each size of the window.
    auto playGoodAt = [&](QSize size) {
        window.resize(size);
        startCapture(hotel);
        Replay::play(good, state, time);
        time.advance(1.0);
    };

    std::unique_ptr<CapturePickerWindow> history;
    std::optional<TourSteps::ScanHold> scanHold;
    QPointer<SettingsView> settings;
    // The captive-portal probe answers as an open internet would; the other verdicts send it to a closed
    // port.
    LoopbackHttpServer portal;
    portal.answerPage("<HTML><HEAD><TITLE>Success</TITLE></HEAD><BODY>Success</BODY></HTML>");
    const QByteArray closedPortal = qgetenv("NORVANE_PORTAL_PROBE_URL");
    auto diagnose = [&](const char* gateway, const char* ping, bool portalAnswers, bool measured) {
        state.newCapture();
        settle();
        qputenv("NORVANE_SIM_GATEWAY", gateway);
        qputenv("NORVANE_SIM_PING", ping);
        qputenv("NORVANE_PORTAL_PROBE_URL",
                portalAnswers ? portal.url(u"/probe"_s).toEncoded() : closedPortal);
        if (measured) {
            startCapture(hotel);
            Replay::play(firstSeconds(good, 3), state, time);
            time.advance(1.0);
        }
        state.enterDiagnostics(
            u"Traceback (most recent call last):\n  File \"norvane/cli.py\", line 88, in main\n"
            u"ModuleNotFoundError: No module named 'norvane.probes'"_s);
        QElapsedTimer waited;
        waited.start();
        const bool finishes = qstrcmp(ping, "hang") != 0;
        while (finishes && state.diagnostics() && !state.diagnostics()->phase().isCompleted() &&
               waited.elapsed() < 30'000)
            QApplication::processEvents(QEventLoop::AllEvents, 20);
        settle();
    };
    QTemporaryDir emptyFolder;
    // The first launch's screen: one real run that fails, then each state of the installer as it shows.
    auto bootstrapView = [&] { return window.findChild<BootstrapView*>(); };
    auto runBootstrap = [&](const std::function<void()>& start) {
        start();
        QElapsedTimer waited;
        waited.start();
        while (bootstrapView() && !bootstrapView()->screen().bootstrap().state().isFailed() &&
               waited.elapsed() < 60'000)
            QApplication::processEvents(QEventLoop::AllEvents, 20);
        settle();
    };
    auto showBootstrap = [&](Bootstrap::State bootstrapState, const QString& progress) {
        BootstrapTestAccess::show(bootstrapView()->screen().bootstrap(), std::move(bootstrapState), progress);
    };
    auto clickButton = [](QPushButton* button) {
        QTest::mouseClick(button, Qt::LeftButton);
        settle();
    };
    const QList<Stop> stops = {
        {u"setup-empty"_s, [] {}},
        {u"setup-suggestions"_s, [&] { TourSteps::openSuggestions(window); }},
        {u"running-starting"_s,
         [&] {
             startCapture(hotel);
             Replay::play(firstSeconds(good, 1), state, time);
         }},
        {u"running-good"_s, [&] { playGoodAt(window.size()); }},
        // The same capture in the smallest window the program allows, and in a large one.
        {u"running-good-smallest-window"_s,
         [&] { playGoodAt(QSize(MainWindow::minimumWidth, MainWindow::minimumHeight)); }},
        {u"running-good-large-window"_s, [&] { playGoodAt(QSize(1440, 960)); }},
        {u"running-geo"_s,
         [&] {
             window.resize(MainWindow::defaultWidth, MainWindow::defaultHeight);
             startCapture(flight);
             Replay::play(geo, state, time);
             time.advance(1.0);
         }},
        {u"running-silent"_s,
         [&] {
             // Two seconds of a capture, then nothing more from the tool.
             startCapture(hotel);
             Replay::play(firstSeconds(good, 3), state, time);
             for (int second = 0; second < 20; ++second) {
                 time.advance(1.0);
                 settle();
             }
         }},
        {u"quit-alert"_s, [&] { norvane.requestQuit(); }},
        {u"finishing"_s,
         [&] {
             norvane.cancelQuit();
             AppStateTestAccess::setScreen(state, AppState::Screen::finishing);
         }},
        // The reveal on the capture's own timing: figures counting up, then the verdict with its ring.
        {u"celebration-good-revealing"_s,
         [&] {
             playFinished(hotel, goodComplete);
             time.advance(0.6);
         }},
        {u"celebration-good-verdict"_s, [&] { time.advance(1.2); }},
        {u"celebration-impaired-revealing"_s,
         [&] {
             playFinished(train, cellularComplete);
             time.advance(0.6);
         }},
        {u"celebration-impaired-verdict"_s, [&] { time.advance(1.2); }},
        {u"results-good"_s, [&] { state.loadCapture(goodCsv); }},
        {u"results-good-charts"_s, [&] { TourSteps::scrollScreen(window, 0.55); }},
        {u"results-good-grid"_s, [&] { TourSteps::scrollScreen(window, 0.95); }},
        {u"results-flaky"_s,
         [&] {
             state.newCapture();
             state.loadCapture(flakyCsv);
             settle();
             TourSteps::scrollScreen(window, 0.3);
         }},
        {u"results-failed-at-once"_s,
         [&] {
             playFinished(hotel, failedAtOnce);
             settle();
         }},
        {u"results-six-hours-scrolled"_s,
         [&] {
             state.newCapture();
             state.loadCapture(sixHourCsv);
             settle();
             TourSteps::scrollScreen(window, 0.3);
             TourSteps::scrollLatencyChart(window, 0.5);
         }},
        // The grid of charts below: dozens of speed tests as box plots, hours on the time axes.
        {u"results-six-hours-charts"_s, [&] { TourSteps::scrollScreen(window, 0.75); }},
        // Each row of the upload status, with the events that the upload tool prints in its scenarios.
        {u"results-upload-preparing"_s,
         [&] {
             state.newCapture();
             state.loadCapture(goodCsv);
             settle();
             TourSteps::playUpload(state, {}, std::nullopt);
             AppStateTestAccess::setUploadPreparing(state, true);
             emit state.uploadStateChanged();
             settle();
             TourSteps::scrollScreen(window, 1.0);
         }},
        {u"results-upload-deferred"_s,
         [&] {
             TourSteps::playUpload(state, {}, std::nullopt);
             state.cancelUploadRunner();
             AppStateTestAccess::setMeasuredUplinkMbps(state, 0.004);
             state.runUploadSweep(u"tour"_s, false);
             AppStateTestAccess::setMeasuredUplinkMbps(state, std::nullopt);
         }},
        {u"results-upload-starting"_s,
         [&] { TourSteps::playUpload(state, {R"({"event":"upload_start","total":2})"}, std::nullopt); }},
        {u"results-upload-progress"_s,
         [&] {
             TourSteps::playUpload(
                 state,
                 {R"({"event":"upload_start","total":2})",
                  R"({"event":"upload_progress","file":"wifi_capture_20261121T091500Z.csv","pct":50,"bytes_sent":30944,"bytes_total":61888})"},
                 std::nullopt);
         }},
        {u"results-upload-uploaded"_s,
         [&] {
             TourSteps::playUpload(
                 state,
                 {R"({"event":"upload_start","total":2})",
                  R"({"event":"upload_complete","file":"wifi_capture_20261121T091500Z.csv","size_bytes":245738,"compressed_bytes":61888})",
                  R"({"event":"upload_complete","file":"wifi_capture_20261121T183000Z.csv","size_bytes":244000,"compressed_bytes":63120})",
                  R"({"event":"upload_summary","succeeded":2,"failed":0})"},
                 0);
         }},
        {u"results-upload-failed"_s,
         [&] {
             TourSteps::playUpload(
                 state,
                 {R"j({"event":"upload_start","total":2})j",
                  R"j({"event":"upload_complete","file":"wifi_capture_20261121T091500Z.csv","size_bytes":245738,"compressed_bytes":61888})j",
                  R"j({"event":"upload_error","file":"wifi_capture_20261121T183000Z.csv","message":"storage answered HTTP 503 Service Unavailable (simulated)","retryable":true})j",
                  R"j({"event":"upload_summary","succeeded":1,"failed":1})j"},
                 1);
             time.advance(13);
         }},
        {u"results-upload-skipped"_s,
         [&] {
             TourSteps::playUpload(state, {R"({"event":"upload_skipped","reason":"no_credentials"})"}, 0);
         }},
        {u"results-upload-too-large"_s,
         [&] {
             TourSteps::playUpload(
                 state,
                 {R"({"event":"upload_start","total":1})",
                  R"({"event":"upload_skipped","reason":"exceeds_size_limit","file":"wifi_capture_20261120T060000Z.csv","size_mb":8.7,"limit_mb":7.83,"local_path":"wifi_capture_20261120T060000Z.csv"})",
                  R"({"event":"upload_summary","succeeded":0,"failed":0})"},
                 0);
         }},
        // The history window over the captures folder: while it scans, empty, filtered, and asking before a
        // delete.
        {u"history-loading"_s,
         [&] {
             scanHold.emplace();
             history = std::make_unique<CapturePickerWindow>(state, captures);
             history->show();
         },
         [&] { return history.get(); }},
        {u"history-empty"_s,
         [&] {
             scanHold.reset();
             history = std::make_unique<CapturePickerWindow>(state, emptyFolder.path());
             history->show();
             waitForScan(*history);
         },
         [&] { return history.get(); }},
        {u"history-filtered"_s,
         [&] {
             history = std::make_unique<CapturePickerWindow>(state, captures);
             history->show();
             waitForScan(*history);
             history->filterField()->setText(u"Aurora"_s);
         },
         [&] { return history.get(); }},
        {u"history-delete-alert"_s,
         [&] {
             history->filterField()->clear();
             history->screen().library().setSelected(history->screen().library().captures().first().id);
             history->screen().requestDelete();
         },
         [&] { return history.get(); }, [&] { return history->deleteAlert(); }},
        // The diagnosis of a failed start on the simulator's ip and ping: under way, then each verdict.
        {u"diagnostics-running"_s, [&] { diagnose("192.168.1.1", "hang", false, false); }},
        {u"diagnostics-internet-fine"_s,
         [&] {
             diagnose("192.168.1.1", "all", true, true);
             // The screen shown, not one on its way out.
             for (DiagnosticsView* view : window.findChildren<DiagnosticsView*>()) {
                 if (view->isVisible())
                     view->screen().toggleError();
             }
         }},
        {u"diagnostics-captive-portal"_s, [&] { diagnose("192.168.1.1", "all", false, false); }},
        {u"diagnostics-gateway-only"_s, [&] { diagnose("192.168.1.1", "gateway-only", false, true); }},
        {u"diagnostics-no-connectivity"_s, [&] { diagnose("none", "none", false, false); }},
        // The settings window, with automatic uploads on and off.
        {u"settings-auto-upload-on"_s,
         [&] {
             state.newCapture();
             settings = window.openSettings();
             settings->screen().setAutoUpload(true);
         },
         [&] { return settings.data(); }},
        {u"settings-auto-upload-off"_s, [&] { settings->screen().setAutoUpload(false); },
         [&] { return settings.data(); }},
        {u"bootstrap-checking"_s,
         [&] {
             state.newCapture();
             qputenv("NORVANE_SIM_BOOTSTRAP", "stderr:deps-other");
             runBootstrap([&] { AppStateTestAccess::setScreen(state, AppState::Screen::bootstrapping); });
             showBootstrap(Bootstrap::State::checking(), u"Checking for uv..."_s);
         }},
        {u"bootstrap-downloading-tools"_s,
         [&] { showBootstrap(Bootstrap::State::installingUV(), u"Downloading tools (1 of 2)..."_s); }},
        {u"bootstrap-installing-dependencies"_s,
         [&] {
             showBootstrap(Bootstrap::State::installingDeps(),
                           u"Installing Python and dependencies (2 of 2)..."_s);
         }},
        {u"bootstrap-ready"_s, [&] { showBootstrap(Bootstrap::State::ready(), u"Ready"_s); }},
        {u"bootstrap-failed-without-details"_s,
         [&] {
             showBootstrap(Bootstrap::State::failed(Bootstrap::uvMissingAfterInstallMessage),
                           u"Checking for uv..."_s);
         }},
        {u"bootstrap-failed-details-open"_s,
         [&] {
             qputenv("NORVANE_SIM_BOOTSTRAP", "stderr:deps-no-solution");
             runBootstrap([&] { clickButton(bootstrapView()->retryButton()); });
             qunsetenv("NORVANE_SIM_BOOTSTRAP");
             clickButton(bootstrapView()->detailsButton());
         }},
        {u"bootstrap-copied"_s, [&] { clickButton(bootstrapView()->copyButton()); }},
        // The update notices: a newer version waits, then the site raises its minimum above this build.
        {u"setup-update-ready"_s,
         [&] {
             state.newCapture();
             updateListener.didFindValidUpdate(&updater, newerVersion);
         }},
        {u"results-update-ready"_s, [&] { state.loadCapture(goodCsv); }},
        {u"update-required"_s,
         [&] {
             state.newCapture();
             writeFileAt(gate.cachePath(),
                         R"({"minimum":"99.0","message":"This version can no longer upload captures to )"
                         R"(the team's storage. Please update to keep measuring."})");
             gate.loadCacheAndEvaluate(running);
         }},
        {u"setup-update-important-restart"_s,
         [&] { clickButton(qobject_cast<UpdateRequiredView*>(window.updateGate())->continueButton()); }},
        {u"setup-update-important-download"_s,
         [&] { updateListener.didNotFindUpdate(&updater, u"no newer version"_s); }},
        {u"results-update-important-download-uploading"_s,
         [&] {
             state.loadCapture(goodCsv);
             TourSteps::playUpload(state, {R"({"event":"upload_start","total":1})"}, std::nullopt);
         }},
        {u"results-update-important-download"_s, [&] { TourSteps::playUpload(state, {}, 0); }},
        {u"results-update-important-restart-uploading"_s,
         [&] {
             updateListener.didFindValidUpdate(&updater, newerVersion);
             TourSteps::playUpload(state, {R"({"event":"upload_start","total":1})"}, std::nullopt);
         }},
        {u"results-update-important-restart"_s, [&] { TourSteps::playUpload(state, {}, 0); }},
    };

    QTextStream out(stdout);
    int failures = 0;
    int number = 0;
    for (const Stop& stop : stops) {
        ++number;
        stop.prepare();
        for (const auto scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
            Theme::apply(app, scheme);
            settle();
            QWidget* subject = stop.subject ? stop.subject() : &window;
            QMessageBox* alert = stop.alert ? stop.alert() : window.quitAlert();
            const QImage image = picture(*subject, alert);
            const QString file = u"%1/%2-%3-%4.png"_s.arg(outDir)
                                     .arg(number, 2, 10, QChar(u'0'))
                                     .arg(stop.name, QString::fromLatin1(Theme::name(scheme)));
            if (looksBlank(image)) {
                out << "blank picture: " << file << '\n';
                ++failures;
            }
            if (!image.save(file)) {
                out << "could not write " << file << '\n';
                ++failures;
                continue;
            }
            out << file << '\n';
        }
    }
    // The capture reports, as a reader of the PDF sees each page, and the summary picture beside them.
    const QList<std::pair<QString, std::function<void()>>> reports = {
        {u"good"_s, [&] { state.loadCapture(goodCsv); }},
        {u"flaky"_s, [&] { state.loadCapture(flakyCsv); }},
        {u"failed-at-once"_s, [&] { playFinished(hotel, failedAtOnce); }},
        {u"six-hours"_s, [&] { state.loadCapture(sixHourCsv); }},
    };
    Theme::apply(app, Theme::Scheme::Light);
    for (const auto& [name, prepare] : reports) {
        ++number;
        state.newCapture();
        prepare();
        settle();
        const QString stem = u"%1/%2-report-%3"_s.arg(outDir).arg(number, 2, 10, QChar(u'0')).arg(name);
        CaptureReport report(state);
        const std::optional<QString> error = report.writePdf(stem + u".pdf"_s);
        const std::optional<QString> pictureError = report.writePicture(stem + u"-summary.png"_s);
        if (error || pictureError) {
            out << error.value_or(pictureError.value_or(QString())) << '\n';
            ++failures;
            continue;
        }
        if (QProcess::execute(u"pdftoppm"_s,
                              {u"-r"_s, u"80"_s, u"-png"_s, stem + u".pdf"_s, stem + u"-page"_s}) != 0) {
            out << "pdftoppm (poppler-utils) could not draw " << stem << ".pdf\n";
            ++failures;
            continue;
        }
        const QFileInfoList pages = QDir(outDir).entryInfoList({QFileInfo(stem).fileName() + u"-*.png"_s});
        for (const QFileInfo& page : pages) {
            if (looksBlank(QImage(page.filePath()))) {
                out << "blank picture: " << page.filePath() << '\n';
                ++failures;
            }
            out << page.filePath() << '\n';
        }
    }
    if (settings) {
        settings->screen().setAutoUpload(true);
        settings->close();
    }
    qunsetenv("NORVANE_SIM_GATEWAY");
    qunsetenv("NORVANE_SIM_PING");
    qputenv("NORVANE_PORTAL_PROBE_URL", closedPortal);
    if (QMessageBox* alert = history ? history->deleteAlert() : nullptr)
        alert->reject();
    history.reset();
    // Nothing of the tour may outlive it: no child was started, but the session ends as the program's does.
    state.newCapture();
    norvane.handleTermination();
    FileLogger::shared().waitForIdle();
    return failures == 0 ? 0 : 1;
}
