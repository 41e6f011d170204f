#pragma once

#include <QByteArrayList>
#include <QString>

#include <memory>
#include <optional>

class AppState;
class MainWindow;
class QSemaphore;

// What the tour does to the window by hand, as a user would with the keyboard, and the outside events it
// stands in for.
namespace TourSteps {

// Types the start of a name into the setup screen's network field, so that its suggestions open.
void openSuggestions(MainWindow& window);

// Scrolls the screen shown to a fraction of its height: 0 the top, 1 the bottom.
void scrollScreen(MainWindow& window, double fraction);

// Moves the results screen's latency chart to a fraction of the capture's length.
void scrollLatencyChart(MainWindow& window, double fraction);

// Plays what the upload tool would print in one run of the sweep, from a clean upload state: its event
// lines, then, with an exit code, its end.
void playUpload(AppState& state, const QByteArrayList& lines, std::optional<int> exitCode);

// Copies the files of one folder into another, which is made if missing.
void copyFolder(const QString& from, const QString& to);

// Keeps the thread of the history's scans busy while it lives, so that a history window opened meanwhile
// stays in its loading state for as long as the tour looks at it.
class ScanHold {
public:
    ScanHold();
    ~ScanHold();
    ScanHold(const ScanHold&) = delete;
    ScanHold& operator=(const ScanHold&) = delete;

private:
    std::shared_ptr<QSemaphore> m_release;
};

} // namespace TourSteps
