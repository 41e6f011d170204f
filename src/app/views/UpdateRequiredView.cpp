#include "UpdateRequiredView.h"

#include "Icons.h"
#include "ScaledFont.h"
#include "TextLabels.h"
#include "Theme.h"

#include "platform/Platform.h"
#include "screens/UpdateNotices.h"

#include <QDesktopServices>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace Notice = UpdateRequiredNotice;

UpdateRequiredView::UpdateRequiredView(const QString& message, const QString& downloadUrl,
                                       std::function<void()> onContinue, std::function<void()> onQuit,
                                       QWidget* parent)
    : QWidget(parent)
    , m_downloadUrl(downloadUrl) {
    setObjectName(u"updateRequired"_s);
    setAccessibleName(Notice::titleText);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    // The smallest window is shorter than the notice on a desktop with large text: it scrolls then.
    auto* scroll = new QScrollArea(this);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFocusPolicy(Qt::NoFocus);
    outer->addWidget(scroll);

    // The page carries the style sheet, so that the view itself still hears of a change of scheme.
    m_page = new QWidget;
    scroll->setWidget(m_page);
    const int line = fontMetrics().height();
    auto* column = new QVBoxLayout(m_page);
    column->setContentsMargins(line * 2, line, line * 2, line);
    column->setSpacing(Notice::spacing);
    column->addStretch(1);

    m_icon = new QLabel(m_page);
    m_icon->setAccessibleName(Notice::symbol);
    m_icon->setFixedSize(Notice::symbolSize, Notice::symbolSize);
    column->addWidget(m_icon, 0, Qt::AlignHCenter);

    auto* title = new QLabel(Notice::titleText, m_page);
    QFont titleFont = scaledFont(title->font(), 1.7);
    titleFont.setWeight(QFont::Bold);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignHCenter);
    title->setWordWrap(true);
    column->addWidget(title);

    m_message = TextLabels::wrapping(m_page);
    m_message->setObjectName(u"updateMessage"_s);
    m_message->setText(message);
    m_message->setAlignment(Qt::AlignHCenter);
    m_message->setMaximumWidth(Notice::messageMaxWidth);
    m_message->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // As wide as the room allows up to its limit, and centred, so that the wrapped lines are even.
    auto* messageRow = new QHBoxLayout;
    messageRow->addStretch(1);
    messageRow->addWidget(m_message, 1000);
    messageRow->addStretch(1);
    column->addLayout(messageRow);

    auto* version = TextLabels::wrapping(m_page);
    version->setObjectName(u"currentVersion"_s);
    version->setText(Notice::versionLine(Platform::appVersion()));
    version->setAlignment(Qt::AlignHCenter);
    version->setFont(scaledFont(version->font(), 0.85));
    version->setForegroundRole(QPalette::PlaceholderText);
    column->addWidget(version);

    m_download = new QPushButton(Notice::downloadButtonTitle, m_page);
    m_download->setObjectName(u"prominent"_s);
    m_download->setAccessibleName(Notice::downloadButtonTitle);
    m_download->setFixedWidth(Notice::downloadButtonWidth);
    m_download->setAutoDefault(false);
    connect(m_download, &QPushButton::clicked, this, &UpdateRequiredView::openDownload);

    m_continue = new QPushButton(Notice::continueButtonTitle, m_page);
    m_continue->setObjectName(u"bordered"_s);
    m_continue->setAccessibleName(Notice::continueButtonTitle);
    m_continue->setAutoDefault(false);
    // The desktop's bordered button hugs its text; a little room makes it read as the second choice.
    m_continue->setMinimumWidth(m_continue->sizeHint().width() + line * 2);
    connect(m_continue, &QPushButton::clicked, this, [onContinue = std::move(onContinue)] { onContinue(); });

    m_quit = new QPushButton(Notice::quitButtonTitle, m_page);
    m_quit->setObjectName(u"plain"_s);
    m_quit->setAccessibleName(Notice::quitButtonTitle);
    m_quit->setFlat(true);
    m_quit->setAutoDefault(false);
    m_quit->setFont(scaledFont(m_quit->font(), 0.85));
    connect(m_quit, &QPushButton::clicked, this, [onQuit = std::move(onQuit)] { onQuit(); });

    for (QPushButton* button : {m_download, m_continue, m_quit})
        column->addWidget(button, 0, Qt::AlignHCenter);
    column->addStretch(1);

    setTabOrder(m_download, m_continue);
    setTabOrder(m_continue, m_quit);
    applyColours();
}

void UpdateRequiredView::setMessage(const QString& message) {
    TextLabels::setText(m_message, message);
}

void UpdateRequiredView::setDownloadUrl(const QString& url) {
    m_downloadUrl = url;
}

void UpdateRequiredView::openDownload() {
    if (const std::optional<QUrl> url = Notice::downloadTarget(m_downloadUrl))
        QDesktopServices::openUrl(*url);
}

void UpdateRequiredView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange)
        applyColours();
    QWidget::changeEvent(event);
}

void UpdateRequiredView::applyColours() {
    const QPalette colours = palette();
    Icons::showOn(m_icon, Notice::symbol, Notice::symbolSize, Theme::orange(colours));
    const QColor prominentText = colours.color(QPalette::HighlightedText);
    const int iconSide = m_download->fontMetrics().height();
    m_download->setIcon(Icons::symbol(Notice::downloadSymbol, prominentText));
    m_download->setIconSize(QSize(iconSide, iconSide));
    m_page->setStyleSheet(uR"(
QPushButton#prominent { background: %1; color: %2; border: none; border-radius: 6px; padding: 0.45em 1em; font-weight: 600; }
QPushButton#prominent:focus { border: 2px solid %3; }
QPushButton#plain { border: none; color: %4; padding: 0.2em 0.8em; }
QPushButton#plain:focus { border: 1px solid %3; border-radius: 4px; }
)"_s.arg(colours.color(QPalette::Highlight).name(), prominentText.name(),
         Theme::isDark(colours) ? prominentText.name()
                                : colours.color(QPalette::Highlight).darker(150).name(),
         colours.color(QPalette::PlaceholderText).name()));
}
