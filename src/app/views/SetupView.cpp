#include "SetupView.h"

#include "ScaledFont.h"

#include "Spinner.h"
#include "Theme.h"

#include "Icons.h"
#include "core/AppState.h"
#include "services/FileLogger.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QHideEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QShowEvent>
#include <QVBoxLayout>
#include <QVariantAnimation>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Secondary caption text: a step smaller than the body, in the palette's secondary colour.
QLabel* captionLabel(const QString& text = {}) {
    auto* label = new QLabel(text);
    label->setFont(scaledFont(label->font(), 0.88));
    label->setForegroundRole(QPalette::PlaceholderText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::NoTextInteraction);
    return label;
}

// The small capitals above each block.
QLabel* headingLabel(const QString& text) {
    auto* label = new QLabel(text);
    QFont font = scaledFont(label->font(), 0.82);
    font.setWeight(QFont::DemiBold);
    font.setLetterSpacing(QFont::PercentageSpacing, 108);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

// One rounded choice of a row of them: checkable, one of its group, as wide as the row allows.
template <typename Action>
QPushButton* addPill(const QString& title, QButtonGroup* group, QHBoxLayout* row, Action action) {
    auto* button = new QPushButton(title);
    button->setCheckable(true);
    button->setObjectName(u"pill"_s);
    button->setAccessibleName(title);
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    QObject::connect(button, &QPushButton::clicked, button, action);
    group->addButton(button);
    row->addWidget(button);
    return button;
}

// An icon drawn at a size relative to the text beside it, sharp on high-density screens.
QLabel* iconLabel(const QString& symbol, double lines, QWidget* reference) {
    auto* label = new QLabel;
    const int side = qRound(reference->fontMetrics().height() * lines);
    Icons::showOn(label, symbol, side);
    label->setFixedSize(side, side);
    label->setAccessibleName(symbol);
    return label;
}

// Holds the update notices. It shows only while it has a widget to show, so an empty slot leaves no gap.
class BannerSlot : public QWidget {
public:
    explicit BannerSlot(QWidget* parent = nullptr)
        : QWidget(parent) {
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        setVisible(false);
    }

protected:
    void childEvent(QChildEvent* event) override {
        QWidget::childEvent(event);
        if (event->added() || event->removed())
            QMetaObject::invokeMethod(
                this, [this] { updateVisibility(); }, Qt::QueuedConnection);
    }

private:
    void updateVisibility() { setVisible(!findChildren<QWidget*>(Qt::FindDirectChildrenOnly).isEmpty()); }
};

QString rgba(QColor colour, double alpha) {
    return u"rgba(%1, %2, %3, %4)"_s.arg(colour.red())
        .arg(colour.green())
        .arg(colour.blue())
        .arg(alpha, 0, 'f', 2);
}

} // namespace

SetupView::SetupView(AppState& state, QWidget* parent)
    : SetupView(state, SetupScreen::systemServices(state, FileLogger::shared()), parent) {}

SetupView::SetupView(AppState& state, SetupScreen::Services services, QWidget* parent)
    : QWidget(parent)
    , m_model(new SetupScreen(state, std::move(services), this))
    , m_state(state) {
    setObjectName(u"setup"_s);
    setAccessibleName(SetupScreen::titleText);
    build();
    applyColours();
    connect(m_model, &SetupScreen::changed, this, &SetupView::refresh);
    refresh();
}

SetupView::~SetupView() = default;

void SetupView::build() {
    const int line = fontMetrics().height();

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    auto* scroll = new QScrollArea;
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setAccessibleName(u"Test setup"_s);
    // The page scrolls to whatever control takes the focus; the area itself is no stop for Tab, where
    // the focus would sit unseen.
    scroll->setFocusPolicy(Qt::NoFocus);
    outer->addWidget(scroll, 1);

    // The page carries the style sheet, not the view: a widget with a style sheet of its own is left out
    // when its parent passes a new palette down, so the view itself must stay without one to hear of a
    // change of scheme.
    m_page = new QWidget;
    m_page->setAutoFillBackground(false);
    scroll->setWidget(m_page);
    auto* pageLayout = new QHBoxLayout(m_page);
    pageLayout->setContentsMargins(line, line * 2, line, line);
    auto* columnWidget = new QWidget;
    columnWidget->setMaximumWidth(fontMetrics().averageCharWidth() * 80);
    pageLayout->addStretch(1);
    pageLayout->addWidget(columnWidget, 100);
    pageLayout->addStretch(1);

    auto* column = new QVBoxLayout(columnWidget);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);

    // --- Title -----------------------------------------------------------------------------------
    column->addWidget(iconLabel(u"wifi"_s, 2.6, this), 0, Qt::AlignHCenter);
    column->addSpacing(line / 2);
    auto* title = new QLabel(SetupScreen::titleText);
    QFont titleFont = scaledFont(title->font(), 1.7);
    titleFont.setWeight(QFont::DemiBold);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignHCenter);
    title->setAccessibleName(SetupScreen::titleText);
    column->addWidget(title);
    auto* subtitle = new QLabel(SetupScreen::subtitleText);
    subtitle->setForegroundRole(QPalette::PlaceholderText);
    subtitle->setAlignment(Qt::AlignHCenter);
    subtitle->setWordWrap(true);
    column->addWidget(subtitle);
    column->addSpacing(line * 3 / 2);

    // --- Update notices and the "enabled" banner ---------------------------------------------------
    m_bannerSlot = new BannerSlot;
    m_bannerSlot->setAccessibleName(u"Update notices"_s);
    column->addWidget(m_bannerSlot);

    m_enabledBanner = new QFrame;
    m_enabledBanner->setObjectName(u"enabledBanner"_s);
    m_enabledBanner->setAccessibleName(SetupScreen::enabledBannerText);
    {
        auto* row = new QHBoxLayout(m_enabledBanner);
        row->setContentsMargins(line * 2 / 3, line / 2, line * 2 / 3, line / 2);
        row->setSpacing(line / 2);
        m_enabledBannerIcon = iconLabel(u"play.rectangle.fill"_s, 1.2, this);
        row->addWidget(m_enabledBannerIcon);
        auto* text = new QLabel(SetupScreen::enabledBannerText);
        text->setWordWrap(true);
        QFont bold = text->font();
        bold.setWeight(QFont::DemiBold);
        text->setFont(bold);
        row->addWidget(text, 1);
    }
    column->addWidget(m_enabledBanner);
    column->addSpacing(line);

    // --- Location and network --------------------------------------------------------------------
    auto addField = [&](const QString& heading, const QString& placeholder, const QString& name,
                        QLineEdit*& field, QListWidget*& list) {
        column->addWidget(headingLabel(heading));
        column->addSpacing(line / 4);
        field = new QLineEdit;
        field->setPlaceholderText(placeholder);
        field->setAccessibleName(name);
        field->setClearButtonEnabled(true);
        field->setMinimumHeight(qRound(line * 1.9));
        field->installEventFilter(this);
        column->addWidget(field);
        list = new QListWidget;
        list->setAccessibleName(name + u" suggestions"_s);
        list->setFocusPolicy(Qt::NoFocus);
        list->setUniformItemSizes(true);
        list->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        list->setSelectionMode(QAbstractItemView::SingleSelection);
        list->setVisible(false);
        connect(list, &QListWidget::itemClicked, this,
                [this, list](QListWidgetItem* item) { chooseRow(list, item->text()); });
        column->addWidget(list);
        column->addSpacing(line);
    };
    addField(SetupScreen::locationHeading, SetupScreen::locationPlaceholder, u"Location"_s, m_locationField,
             m_locationList);
    addField(SetupScreen::networkHeading, SetupScreen::networkPlaceholder, u"Network"_s, m_networkField,
             m_networkList);
    connect(m_locationField, &QLineEdit::textEdited, m_model, &SetupScreen::setLocation);
    connect(m_networkField, &QLineEdit::textEdited, m_model, &SetupScreen::setNetwork);

    // --- Duration --------------------------------------------------------------------------------
    column->addWidget(headingLabel(SetupScreen::durationHeading));
    column->addSpacing(line / 3);
    {
        auto* modeRow = new QHBoxLayout;
        modeRow->setSpacing(0);
        auto* group = new QButtonGroup(this);
        const QList<DurationModeButton> modes = m_model->modeButtons();
        for (const DurationModeButton& mode : modes) {
            auto* button = new QPushButton(mode.title);
            button->setCheckable(true);
            button->setObjectName(mode.edge == DurationModeButton::Edge::leading ? u"segmentLeading"_s
                                                                                 : u"segmentTrailing"_s);
            button->setAccessibleName(mode.title);
            button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
            const bool timed = mode.timed;
            connect(button, &QPushButton::clicked, this, [this, timed] {
                m_model->setTimed(timed);
                refresh();
            });
            group->addButton(button);
            modeRow->addWidget(button);
            m_modeButtons.append(button);
        }
        column->addLayout(modeRow);
    }
    column->addSpacing(line * 2 / 3);

    m_pillRow = new QWidget;
    m_pillRow->setAccessibleName(u"Duration"_s);
    {
        auto* row = new QHBoxLayout(m_pillRow);
        row->setContentsMargins(0, 0, 0, 0);
        row->setSpacing(line / 3);
        auto* group = new QButtonGroup(m_pillRow);
        const QList<DurationPill> pills = m_model->durationPills();
        for (const DurationPill& pill : pills) {
            const QString duration = pill.title;
            m_pills.append(addPill(pill.title, group, row, [this, duration] {
                m_model->setSelectedDuration(duration);
                refresh();
            }));
        }
    }
    column->addWidget(m_pillRow);

    m_profileBlock = new QWidget;
    m_profileBlock->setAccessibleName(u"Profile"_s);
    {
        auto* block = new QVBoxLayout(m_profileBlock);
        block->setContentsMargins(0, 0, 0, 0);
        block->setSpacing(line / 3);
        auto* row = new QHBoxLayout;
        row->setSpacing(line / 3);
        auto* group = new QButtonGroup(m_profileBlock);
        const QList<ProfileButton> profiles = m_model->profileButtons();
        for (const ProfileButton& profile : profiles) {
            const CaptureProfile value = profile.profile;
            m_profileButtons.append(addPill(profile.title, group, row, [this, value] {
                m_model->setSelectedProfile(value);
                refresh();
            }));
        }
        block->addLayout(row);
        m_profileCaption = captionLabel();
        m_profileCaption->setAlignment(Qt::AlignHCenter);
        block->addWidget(m_profileCaption);
    }
    column->addWidget(m_profileBlock);
    column->addSpacing(line);

    // --- Video tests -----------------------------------------------------------------------------
    m_videoPanel = new QFrame;
    m_videoPanel->setObjectName(u"videoPanel"_s);
    m_videoPanel->setAccessibleName(SetupScreen::videoPanelTitle);
    {
        auto* panel = new QVBoxLayout(m_videoPanel);
        panel->setContentsMargins(line * 2 / 3, line * 2 / 3, line * 2 / 3, line * 2 / 3);
        panel->setSpacing(line / 3);
        auto* row = new QHBoxLayout;
        row->setSpacing(line * 2 / 3);
        row->addWidget(iconLabel(u"play.rectangle"_s, 1.8, this), 0, Qt::AlignVCenter);
        auto* texts = new QVBoxLayout;
        texts->setSpacing(0);
        auto* panelTitle = new QLabel(SetupScreen::videoPanelTitle);
        QFont bold = panelTitle->font();
        bold.setWeight(QFont::DemiBold);
        panelTitle->setFont(bold);
        texts->addWidget(panelTitle);
        auto* panelSubtitle = captionLabel(SetupScreen::videoPanelSubtitle);
        texts->addWidget(panelSubtitle);
        row->addLayout(texts, 1);
        m_enableButton = new QPushButton(SetupScreen::enableButtonTitle);
        m_enableButton->setAccessibleName(u"Enable YouTube quality testing"_s);
        connect(m_enableButton, &QPushButton::clicked, m_model, &SetupScreen::installChromium);
        row->addWidget(m_enableButton, 0, Qt::AlignVCenter);
        m_spinner = new Spinner(1.2);
        m_spinner->setAccessibleName(u"Installing"_s);
        m_spinner->setVisible(false);
        row->addWidget(m_spinner, 0, Qt::AlignVCenter);
        panel->addLayout(row);
        m_progressLine = captionLabel();
        m_progressLine->setAccessibleName(u"Install progress"_s);
        m_progressLine->setVisible(false);
        panel->addWidget(m_progressLine);
    }
    m_errorLine = captionLabel();
    m_errorLine->setObjectName(u"errorLine"_s);
    m_errorLine->setForegroundRole(QPalette::WindowText);
    m_errorLine->setAccessibleName(u"Video test error"_s);
    m_errorLine->setVisible(false);
    // The panel and its error line with the room around them, so that nothing is left when both go.
    m_videoBlock = new QWidget;
    {
        auto* block = new QVBoxLayout(m_videoBlock);
        block->setContentsMargins(0, line / 2, 0, line / 2);
        block->setSpacing(line / 3);
        block->addWidget(m_videoPanel);
        block->addWidget(m_errorLine);
    }
    column->addWidget(m_videoBlock);
    column->addSpacing(line / 2);

    // --- Start -----------------------------------------------------------------------------------
    m_startButton = new QPushButton(Icons::symbol(u"play.fill"_s), SetupScreen::startButtonTitle);
    m_startButton->setObjectName(u"startButton"_s);
    m_startButton->setAccessibleName(SetupScreen::startButtonTitle);
    m_startButton->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return));
    m_startButton->setToolTip(SetupScreen::startButtonTitle + u" ("_s +
                              QKeySequence(Qt::CTRL | Qt::Key_Return).toString(QKeySequence::NativeText) +
                              u')');
    m_startButton->setMinimumHeight(qRound(line * 2.2));
    m_startButton->setIconSize(QSize(line, line));
    // Return starts too, once Tab has brought the focus here.
    m_startButton->setAutoDefault(true);
    connect(m_startButton, &QPushButton::clicked, m_model, &SetupScreen::start);
    // The keypad's Enter is the same key to the user.
    auto* keypadStart = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Enter), this);
    connect(keypadStart, &QShortcut::activated, m_startButton, &QPushButton::click);
    column->addWidget(m_startButton);
    m_startHint = captionLabel(SetupScreen::needsContextHint);
    m_startHint->setAlignment(Qt::AlignHCenter);
    column->addSpacing(line / 3);
    column->addWidget(m_startHint);
    column->addStretch(1);

    // --- Footer ----------------------------------------------------------------------------------
    auto* rule = new QFrame;
    rule->setFrameShape(QFrame::HLine);
    rule->setFrameShadow(QFrame::Sunken);
    outer->addWidget(rule);
    auto* footer = new QWidget;
    footer->setAccessibleName(u"Status"_s);
    auto* footerRow = new QHBoxLayout(footer);
    footerRow->setContentsMargins(line, line / 3, line / 2, line / 3);
    footerRow->setSpacing(line);
    auto footerItem = [&](const QString& symbol, const QString& name, QLabel*& text) {
        auto* item = new QWidget;
        item->setAccessibleName(name);
        auto* row = new QHBoxLayout(item);
        row->setContentsMargins(0, 0, 0, 0);
        row->setSpacing(line / 4);
        row->addWidget(iconLabel(symbol, 0.9, this));
        text = captionLabel();
        text->setWordWrap(false);
        text->setAccessibleName(name);
        row->addWidget(text);
        footerRow->addWidget(item);
        item->setVisible(false);
        return item;
    };
    m_footerSsid = footerItem(u"network"_s, u"Network name"_s, m_footerSsidText);
    m_footerSignal = footerItem(u"wifi"_s, u"Signal strength"_s, m_footerSignalText);
    m_footerRetry = footerItem(u"arrow.clockwise.icloud"_s, u"Pending upload"_s, m_footerRetryText);
    footerRow->addStretch(1);
    m_historyButton =
        new QPushButton(Icons::symbol(u"clock.arrow.circlepath"_s), SetupScreen::historyButtonTitle);
    m_historyButton->setFlat(true);
    m_historyButton->setAccessibleName(SetupScreen::historyButtonTitle);
    connect(m_historyButton, &QPushButton::clicked, this, &SetupView::historyRequested);
    footerRow->addWidget(m_historyButton);
    outer->addWidget(footer);

    setTabOrder(m_locationField, m_networkField);
}

void SetupView::applyColours() {
    const QPalette colours = palette();
    const bool dark = Theme::isDark(colours);
    const QColor highlight = colours.color(QPalette::Highlight);
    const QColor highlightedText = colours.color(QPalette::HighlightedText);
    const QColor button = colours.color(QPalette::Button);
    const QColor buttonText = colours.color(QPalette::ButtonText);
    const QColor border = colours.color(QPalette::Mid);
    const QColor disabledText = colours.color(QPalette::Disabled, QPalette::ButtonText);
    const QColor green = dark ? QColor(0x4c, 0xd9, 0x64) : QColor(0x1e, 0x8e, 0x3e);
    const QColor red = dark ? QColor(0xff, 0x6b, 0x6b) : QColor(0xc6, 0x28, 0x28);
    const QColor panel = colours.color(QPalette::WindowText);

    const QString sheet = uR"(
QPushButton#segmentLeading, QPushButton#segmentTrailing {
    background: %1; color: %2; border: 1px solid %3; padding: 0.4em 1em; }
QPushButton#segmentLeading { border-top-left-radius: 0.55em; border-bottom-left-radius: 0.55em; border-right: none; }
QPushButton#segmentTrailing { border-top-right-radius: 0.55em; border-bottom-right-radius: 0.55em; }
QPushButton#segmentLeading:checked, QPushButton#segmentTrailing:checked {
    background: %4; color: %5; border-color: %4; }
QPushButton#pill { background: %1; color: %2; border: 1px solid %3; border-radius: 0.85em; padding: 0.3em 0.6em; }
QPushButton#pill:checked { background: %4; color: %5; border-color: %4; }
QPushButton#segmentLeading:focus, QPushButton#segmentTrailing:focus, QPushButton#pill:focus {
    border: 2px solid %6; }
QPushButton#startButton { background: %4; color: %5; border: none; border-radius: 0.5em; padding: 0.5em 1.5em; font-weight: 600; }
QPushButton#startButton:focus { border: 2px solid %6; }
QPushButton#startButton:disabled { background: %12; color: %7; }
QFrame#enabledBanner { background: %8; border: 1px solid %9; border-radius: 0.5em; }
QFrame#videoPanel { background: %10; border: 1px solid %3; border-radius: 0.6em; }
QLabel#errorLine { color: %11; }
)"_s.arg(button.name(), buttonText.name(), border.name(), highlight.name(), highlightedText.name(),
         dark ? highlightedText.name() : highlight.darker(150).name(), disabledText.name(), rgba(green, 0.16),
         rgba(green, 0.6), rgba(panel, 0.04), red.name(), rgba(panel, 0.10));
    // Setting the sheet polishes the page's widgets again, which takes them to the palette of the moment.
    m_page->setStyleSheet(sheet);
}

void SetupView::refresh() {
    const SetupScreen& model = *m_model;

    if (m_locationField->text() != model.location())
        m_locationField->setText(model.location());
    if (m_networkField->text() != model.network())
        m_networkField->setText(model.network());
    refreshSuggestions(m_locationList, model.showsLocationSuggestions(), model.filteredLocations());
    refreshSuggestions(m_networkList, model.showsNetworkSuggestions(), model.filteredNetworks());

    const QList<DurationModeButton> modes = model.modeButtons();
    for (qsizetype i = 0; i < modes.size() && i < m_modeButtons.size(); ++i)
        m_modeButtons[i]->setChecked(modes[i].isSelected);
    m_pillRow->setVisible(model.isTimed());
    const QList<DurationPill> pills = model.durationPills();
    for (qsizetype i = 0; i < pills.size() && i < m_pills.size(); ++i)
        m_pills[i]->setChecked(pills[i].isSelected);
    m_profileBlock->setVisible(!model.isTimed());
    const QList<ProfileButton> profiles = model.profileButtons();
    for (qsizetype i = 0; i < profiles.size() && i < m_profileButtons.size(); ++i)
        m_profileButtons[i]->setChecked(profiles[i].isSelected);
    m_profileCaption->setText(model.profileCaption());

    m_enabledBanner->setVisible(model.showsEnabledBanner());
    m_videoPanel->setVisible(model.showsVideoPanel());
    m_enableButton->setVisible(!model.installingChromium());
    m_spinner->setVisible(model.installingChromium());
    const std::optional<QString> progress = model.installProgressLine();
    m_progressLine->setText(progress.value_or(QString()));
    m_progressLine->setVisible(progress.has_value());
    m_errorLine->setText(model.chromiumError().value_or(QString()));
    m_errorLine->setVisible(model.chromiumError().has_value());
    m_videoBlock->setVisible(model.showsVideoPanel() || model.chromiumError().has_value());

    m_startButton->setEnabled(model.isStartEnabled());
    const std::optional<QString> hint = model.startHint();
    m_startHint->setText(hint.value_or(QString()));
    m_startHint->setVisible(hint.has_value());

    refreshFooter();
    updateFooterTimer();
}

void SetupView::refreshSuggestions(QListWidget* list, bool shows, const QStringList& rows) {
    const QStringList shown = rows.first(std::min<qsizetype>(rows.size(), SetupScreen::suggestionLimit));
    QStringList current;
    for (int i = 0; i < list->count(); ++i)
        current.append(list->item(i)->text());
    // Rows of a fixed, font-relative height, so that the list is exactly as tall as its rows.
    const int rowHeight = qRound(fontMetrics().height() * 1.6);
    if (current != shown) {
        list->clear();
        for (const QString& row : shown) {
            auto* item = new QListWidgetItem(row, list);
            item->setSizeHint(QSize(0, rowHeight));
        }
        list->setCurrentRow(-1);
    }
    const bool visible = shows && !shown.isEmpty();
    if (visible)
        list->setFixedHeight(rowHeight * int(shown.size()) + 2 * list->frameWidth());
    list->setVisible(visible);
}

void SetupView::refreshFooter() {
    const SetupFooter footer = m_model->footer(Time::clock().now());
    m_footerSsid->setVisible(footer.ssid.has_value());
    m_footerSsidText->setText(footer.ssid.value_or(QString()));
    m_footerSignal->setVisible(footer.signal.has_value());
    m_footerSignalText->setText(footer.signal.value_or(QString()));
    m_footerRetry->setVisible(footer.pendingRetry.has_value());
    m_footerRetryText->setText(footer.pendingRetry.value_or(QString()));
}

void SetupView::updateFooterTimer() {
    // The countdown is redrawn every second while a retry waits and the screen is up.
    const bool needed = m_state.upload().pendingRetryAt.has_value() && isVisible();
    if (needed && !m_footerTimer.isActive())
        m_footerTimer = Time::scheduler().repeating(1.0, this, [this] { refreshFooter(); });
    else if (!needed)
        m_footerTimer.cancel();
}

void SetupView::chooseRow(QListWidget* list, const QString& text) {
    // The focus follows the user, not the model: a refresh runs in the middle of a move from one field
    // to the other, and taking the focus away there would leave it nowhere. Only a chosen row, like
    // Return, leaves the field on purpose.
    if (list == m_locationList) {
        m_model->chooseLocationSuggestion(text);
        m_locationField->clearFocus();
    } else {
        m_model->chooseNetworkSuggestion(text);
        m_networkField->clearFocus();
    }
}

bool SetupView::handleFieldKey(QLineEdit* field, QListWidget* list, QKeyEvent* event) {
    const bool listShown = list->isVisible() && list->count() > 0;
    const bool isLocation = field == m_locationField;
    switch (event->key()) {
    case Qt::Key_Down:
        if (!listShown)
            return false;
        list->setCurrentRow(std::min(list->currentRow() + 1, list->count() - 1));
        return true;
    case Qt::Key_Up:
        if (!listShown)
            return false;
        if (list->currentRow() > 0) {
            list->setCurrentRow(list->currentRow() - 1);
        } else {
            list->setCurrentRow(-1);
            list->clearSelection();
        }
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // Ctrl+Return belongs to the start button.
        if (event->modifiers() & Qt::ControlModifier)
            return false;
        if (listShown && list->currentRow() >= 0) {
            chooseRow(list, list->currentItem()->text());
            return true;
        }
        if (isLocation)
            m_model->submitLocation();
        else
            m_model->submitNetwork();
        field->clearFocus();
        return true;
    case Qt::Key_Escape:
        if (isLocation)
            m_model->submitLocation();
        else
            m_model->submitNetwork();
        field->clearFocus();
        return true;
    default:
        return false;
    }
}

bool SetupView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_locationField || watched == m_networkField) {
        const bool isLocation = watched == m_locationField;
        switch (event->type()) {
        case QEvent::FocusIn:
            if (isLocation)
                m_model->setLocationFocused(true);
            else
                m_model->setNetworkFocused(true);
            break;
        case QEvent::FocusOut:
            if (isLocation)
                m_model->setLocationFocused(false);
            else
                m_model->setNetworkFocused(false);
            break;
        case QEvent::KeyPress:
            if (handleFieldKey(isLocation ? m_locationField : m_networkField,
                               isLocation ? m_locationList : m_networkList, static_cast<QKeyEvent*>(event)))
                return true;
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void SetupView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!event->spontaneous())
        m_model->appear();
    updateFooterTimer();
}

void SetupView::hideEvent(QHideEvent* event) {
    if (!event->spontaneous())
        m_model->disappear();
    m_footerTimer.cancel();
    QWidget::hideEvent(event);
}

void SetupView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    // The style sheet carries colours of the palette, so a new scheme needs a new sheet. The view has no
    // sheet of its own, so it hears of the application's new palette like any other widget: its parent
    // (or, as a window, the view itself) resolves the palette again and sends it this change.
    if (event->type() == QEvent::PaletteChange)
        applyColours();
}
