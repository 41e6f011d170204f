#pragma once

class AppState;
class QWidget;

// The pieces of the running screen that live in files of their own. Each builds a widget that follows
// AppState by itself; the running screen only places them.
QWidget* makeLiveLatencyChart(AppState& state, QWidget* parent);
QWidget* makeHoneycombView(AppState& state, QWidget* parent);
// The activity line, and the trivia line that it keeps running; the running screen places the two
// apart, the trivia line further down in the scrolling part.
struct ActivityLinesParts {
    QWidget* activity = nullptr;
    QWidget* trivia = nullptr;
};
ActivityLinesParts makeActivityLines(AppState& state, QWidget* parent);
// The note chips with the list of notes taken.
QWidget* makeNoteChips(AppState& state, QWidget* parent);
