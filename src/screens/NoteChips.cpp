#include "screens/NoteChips.h"

#include "core/AppState.h"
#include "subprocess/PythonProcess.h"

#include <QPointer>

using namespace Qt::StringLiterals;

const QString NoteChips::flightCategory = u"flight"_s;

const QList<NoteChipDef>& NoteChips::allChips() {
    static const QList<NoteChipDef> chips = {
        {u"🚕"_s, u"Taxi"_s, u"Taxi"_s, ChipContext::flight},
        {u"🛫"_s, u"Takeoff"_s, u"Takeoff"_s, ChipContext::flight},
        {u"☁️"_s, u"Cruise"_s, u"Cruise"_s, ChipContext::flight},
        {u"🛬"_s, u"Descent"_s, u"Descent"_s, ChipContext::flight},
        {u"🚪"_s, u"Gate"_s, u"Gate"_s, ChipContext::flight},
        {u"😬"_s, u"Broken"_s, u"Feels broken"_s, ChipContext::universal},
        {u"🐌"_s, u"Slow"_s, u"Feels slow"_s, ChipContext::universal},
        {u"🚀"_s, u"Fast"_s, u"Feels fast"_s, ChipContext::universal},
    };
    return chips;
}

QList<NoteChipDef> NoteChips::visibleChips(const std::optional<QString>& captureCategory) {
    if (captureCategory == flightCategory)
        return allChips();
    QList<NoteChipDef> chips;
    for (const NoteChipDef& chip : allChips()) {
        if (chip.context == ChipContext::universal)
            chips.append(chip);
    }
    return chips;
}

QString NoteChips::command(const NoteChipDef& chip) {
    return u"NOTE "_s + chip.noteText;
}

QString NoteChips::noteRow(const CapturedNote& note) {
    return note.timestamp.toLocalTime().toString(u"HH:mm:ss"_s) + u"  "_s + note.text;
}

QStringList NoteChips::noteRows(const QList<CapturedNote>& notes) {
    QStringList rows;
    rows.reserve(notes.size());
    for (const CapturedNote& note : notes)
        rows.append(noteRow(note));
    return rows;
}

NoteChips::NoteChips(AppState& state, QObject* parent)
    : NoteChips(
          // The session outlives the screen, but a guard costs nothing should it ever go first.
          [process = QPointer<PythonProcess>(&state.pythonProcess())](const QString& line) {
              if (process)
                  process->sendCommand(line);
          },
          parent) {}

NoteChips::NoteChips(CommandSink send, QObject* parent)
    : QObject(parent)
    , m_send(std::move(send)) {}

void NoteChips::tapChip(int index, const NoteChipDef& chip) {
    if (m_send)
        m_send(command(chip));
    setTappedIndex(index);
    // Only the tap that lit the chip may put it out; a tap on another chip keeps its own full time.
    Time::scheduler().post(highlightSeconds, this, [this, index] {
        if (m_tappedIndex == index)
            setTappedIndex(std::nullopt);
    });
}

void NoteChips::setTappedIndex(std::optional<int> index) {
    if (m_tappedIndex == index)
        return;
    m_tappedIndex = index;
    emit tappedIndexChanged();
}
