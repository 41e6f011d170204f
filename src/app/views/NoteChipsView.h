#pragma once

#include "screens/NoteChips.h"

#include <QAbstractButton>
#include <QList>
#include <QWidget>

#include <memory>

class AppState;
class FlowLayout;
class QLabel;
class QVBoxLayout;

// One capsule with an emoji and a label; it lights up in the accent colour while `highlighted`.
class NoteChipButton : public QAbstractButton {
    Q_OBJECT

public:
    NoteChipButton(const NoteChipDef& chip, QWidget* parent = nullptr);

    const NoteChipDef& chip() const { return m_chip; }
    bool isHighlighted() const { return m_highlighted; }
    void setHighlighted(bool highlighted);

    // Fill and outline of a chip in each scheme, resting or lit.
    static QColor fillColor(bool dark, bool highlighted, const QColor& accent);
    static QColor strokeColor(bool dark, bool highlighted, const QColor& accent);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString caption() const;

    NoteChipDef m_chip;
    bool m_highlighted = false;
};

// The row of note chips and, once there are any, the notes taken so far. The chips follow the
// capture's category; the list follows the notes that the tool echoes back.
class NoteChipsView : public QWidget {
    Q_OBJECT

public:
    // Sends through the capture's tool.
    explicit NoteChipsView(AppState& state, QWidget* parent = nullptr);
    // Sends wherever `send` says.
    NoteChipsView(AppState& state, NoteChips::CommandSink send, QWidget* parent = nullptr);
    ~NoteChipsView() override;

    const NoteChips& model() const { return *m_model; }
    QList<NoteChipButton*> chipButtons() const { return m_buttons; }
    // The rows of the notes list as shown; empty while the list is hidden.
    QStringList noteRows() const;

private:
    void build();
    void rebuildChips();
    void showNotes();
    void showHighlight();

    AppState& m_state;
    std::unique_ptr<NoteChips> m_model;
    QList<NoteChipDef> m_shownChips;
    QList<NoteChipButton*> m_buttons;
    QWidget* m_chipArea = nullptr;
    FlowLayout* m_chipLayout = nullptr;
    QWidget* m_notesList = nullptr;
    QVBoxLayout* m_notesLayout = nullptr;
    QList<QLabel*> m_noteLabels;
};
