#pragma once

#include "base/Clock.h"
#include "capture/CaptureSeries.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class AppState;

enum class ChipContext { flight, universal };

// One chip: what it shows and the note it sends.
struct NoteChipDef {
    QString emoji;
    QString label;
    QString noteText;
    ChipContext context = ChipContext::universal;
    friend bool operator==(const NoteChipDef&, const NoteChipDef&) = default;
};

// The model of the note chips: one tap marks what is going on, as a timestamped note that the tool
// writes into the capture. On a flight the chips follow its phases. The notes taken so far come back
// from the tool as events and are listed under the chips.
class NoteChips : public QObject {
    Q_OBJECT

public:
    static constexpr double highlightSeconds = 0.6;
    static const QString flightCategory;

    // Every chip, in the order they show.
    static const QList<NoteChipDef>& allChips();
    // All chips on a flight, the universal ones otherwise.
    static QList<NoteChipDef> visibleChips(const std::optional<QString>& captureCategory);
    // The line for the tool's standard input: "NOTE {noteText}".
    static QString command(const NoteChipDef& chip);
    // "{HH:mm:ss}  {text}", in local time.
    static QString noteRow(const CapturedNote& note);
    static QStringList noteRows(const QList<CapturedNote>& notes);

    using CommandSink = std::function<void(const QString& line)>;

    // Sends through the capture's tool.
    explicit NoteChips(AppState& state, QObject* parent = nullptr);
    // Sends wherever `send` says; for a caller without a tool.
    explicit NoteChips(CommandSink send, QObject* parent = nullptr);

    // The chip at `index` of the visible list was tapped: its note goes out and it lights up briefly.
    void tapChip(int index, const NoteChipDef& chip);
    std::optional<int> tappedIndex() const { return m_tappedIndex; }

signals:
    void tappedIndexChanged();

private:
    void setTappedIndex(std::optional<int> index);

    CommandSink m_send;
    std::optional<int> m_tappedIndex;
};
