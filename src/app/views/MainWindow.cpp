#include "MainWindow.h"

#include <QLabel>
#include <QStackedWidget>
#include <QVBoxLayout>

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent) {
    setWindowTitle(QStringLiteral("Norvane"));
    setMinimumSize(minimumWidth, minimumHeight);
    resize(defaultWidth, defaultHeight);

    m_screens = new QStackedWidget(this);
    m_screens->setAccessibleName(QStringLiteral("Norvane"));

    // Stands in until the setup screen arrives; it only says what the program is.
    auto* welcome = new QWidget;
    welcome->setObjectName(QStringLiteral("welcome"));
    auto* layout = new QVBoxLayout(welcome);
    layout->addStretch(2);
    auto* title = new QLabel(QStringLiteral("Norvane"));
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 2.4);
    titleFont.setWeight(QFont::DemiBold);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignHCenter);
    auto* subtitle = new QLabel(QStringLiteral("How well does this network really work?"));
    subtitle->setAlignment(Qt::AlignHCenter);
    subtitle->setWordWrap(true);
    subtitle->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(title);
    layout->addSpacing(8);
    layout->addWidget(subtitle);
    layout->addStretch(3);
    m_screens->addWidget(welcome);

    setCentralWidget(m_screens);
}

QString MainWindow::currentScreenName() const {
    const QWidget* current = m_screens->currentWidget();
    return current ? current->objectName() : QString();
}
