#pragma once

#include <QMainWindow>

class QStackedWidget;

// The one main window. It shows exactly one screen at a time.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int defaultWidth = 700;
    static constexpr int defaultHeight = 800;
    static constexpr int minimumWidth = 600;
    static constexpr int minimumHeight = 450;

    explicit MainWindow(QWidget* parent = nullptr);

    // The name of what the window shows now, for the tour's file names.
    QString currentScreenName() const;

private:
    QStackedWidget* m_screens = nullptr;
};
