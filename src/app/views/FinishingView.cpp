#include "FinishingView.h"

#include "Spinner.h"

#include "core/AppState.h"
#include "screens/FinishingScreen.h"

#include <QEvent>
#include <QHideEvent>
#include <QLabel>
#include <QPainter>
#include <QShowEvent>
#include <QVBoxLayout>
#include <QVariantAnimation>

#include <algorithm>

using namespace Qt::StringLiterals;

FinishingView::FinishingView(AppState& state, QWidget* parent)
    : QWidget(parent) {
    m_screen = new FinishingScreen(
        state, [&state] { state.finishingWaitRanOut(); }, this);
    setAccessibleName(FinishingScreen::message());

    m_busy = new Spinner(4.0, this);
    m_busy->setAccessibleName(u"Saving"_s);
    m_message = new QLabel(FinishingScreen::message(), this);
    m_message->setAlignment(Qt::AlignCenter);
    m_message->setWordWrap(true);

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(FinishingScreen::spacing);
    layout->addStretch();
    layout->addWidget(m_busy, 0, Qt::AlignHCenter);
    layout->addWidget(m_message);
    layout->addStretch();
    applyFonts();
}

void FinishingView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // A window that comes back from the dock is not a new visit of the screen.
    if (!event->spontaneous())
        m_screen->appear();
}

void FinishingView::hideEvent(QHideEvent* event) {
    // Only another screen taking this one's place ends the wait; a window that is minimised or closed
    // keeps it running, so the safety net holds even with nothing on screen.
    if (!event->spontaneous() && window()->isVisible())
        m_screen->disappear();
    QWidget::hideEvent(event);
}

void FinishingView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange)
        applyFonts();
    QWidget::changeEvent(event);
}

void FinishingView::applyFonts() {
    // A third-level title: a step above the body text.
    QFont title = font();
    if (title.pointSizeF() > 0)
        title.setPointSizeF(title.pointSizeF() * 1.25);
    else
        title.setPixelSize(title.pixelSize() * 5 / 4);
    m_message->setFont(title);
    m_busy->updateGeometry();
}
