#include "core/QuitAlert.h"

using namespace Qt::StringLiterals;

bool QuitAlert::isNeeded(AppState::Screen screen, bool uploadInProgress, bool uploadPreparing) {
    return screen == AppState::Screen::running || screen == AppState::Screen::finishing || uploadInProgress ||
           uploadPreparing;
}

QuitAlert QuitAlert::make(AppState::Screen screen, bool uploadInProgress, bool uploadPreparing) {
    const bool running = screen == AppState::Screen::running;
    QuitAlert alert;
    if (running)
        alert.title = u"A test is running"_s;
    else if (uploadInProgress || uploadPreparing)
        alert.title = u"Upload in progress"_s;
    else
        alert.title = u"Saving results"_s;

    if (running)
        alert.message =
            u"Stopping now will end the current capture. Results collected so far will be saved."_s;
    else if (uploadInProgress)
        alert.message = u"Upload is still in progress. Pending uploads will resume on next launch."_s;
    else
        alert.message = u"Results are being saved. Your capture data will be preserved."_s;

    alert.destructiveButton = running ? u"Stop and Quit"_s : u"Quit"_s;
    alert.cancelButton = u"Cancel"_s;
    return alert;
}
