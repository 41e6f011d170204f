#include "SettingsView.h"

#include "Icons.h"
#include "ScaledFont.h"

#include "base/Settings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Secondary text under a control or a section: a step smaller, in the secondary colour, wrapping.
QLabel* captionLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(scaledFont(label->font(), 0.88));
    label->setForegroundRole(QPalette::PlaceholderText);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    return label;
}

} // namespace

namespace SettingsViewParts {

// A folder path on one line: a path has no spaces to wrap at, so what doesn't fit is elided in the
// middle, keeping both the start and the folder's own name, and the whole path is in the tooltip.
class ElidedLabel : public QWidget {
public:
    explicit ElidedLabel(QWidget* parent)
        : QWidget(parent) {
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }

    void setText(const QString& text) {
        if (m_text == text)
            return;
        m_text = text;
        setToolTip(text);
        setAccessibleName(text);
        updateGeometry();
        update();
    }
    QString text() const { return m_text; }

    QSize sizeHint() const override {
        return {std::min(fontMetrics().horizontalAdvance(m_text), 360), fontMetrics().height()};
    }
    QSize minimumSizeHint() const override {
        return {fontMetrics().averageCharWidth() * 8, fontMetrics().height()};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter,
                         fontMetrics().elidedText(m_text, Qt::ElideMiddle, width()));
    }

private:
    QString m_text;
};

} // namespace SettingsViewParts

using SettingsViewParts::ElidedLabel;

SettingsView::SettingsView(QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_settings(std::make_unique<Settings>())
    , m_screen(new SettingsScreen(*m_settings, this)) {
    setObjectName(u"settings"_s);
    setWindowTitle(SettingsScreen::windowTitle());
    resize(defaultWidth, defaultHeight);
    m_chooser = [this](const QString& title, const QString& start) -> std::optional<QString> {
        const QString chosen =
            QFileDialog::getExistingDirectory(this, title, start, QFileDialog::ShowDirsOnly);
        if (chosen.isEmpty())
            return std::nullopt;
        return chosen;
    };

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 20);
    layout->setSpacing(6);
    layout->addWidget(buildDirectorySection());
    layout->addSpacing(14);
    layout->addWidget(buildUploadSection());
    layout->addSpacing(14);
    layout->addWidget(buildSupportSection());
    layout->addStretch(1);

    connect(m_screen, &SettingsScreen::changed, this, &SettingsView::refresh);
    refresh();
}

SettingsView::~SettingsView() = default;

void SettingsView::showEvent(QShowEvent* event) {
    refresh();
    QWidget::showEvent(event);
}

void SettingsView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

QString SettingsView::directoryText() const {
    return m_directory->text();
}

QWidget* SettingsView::buildDirectorySection() {
    auto* section = new QWidget(this);
    auto* outer = new QVBoxLayout(section);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(6);
    auto* group = new QGroupBox(SettingsScreen::directorySectionTitle(), section);
    auto* row = new QHBoxLayout(group);
    row->setSpacing(10);
    auto* icon = new QLabel(group);
    const int side = fontMetrics().height() * 3 / 2;
    Icons::showOn(icon, u"folder"_s, side);
    icon->setFixedSize(side, side);
    row->addWidget(icon, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    m_directory = new ElidedLabel(group);
    texts->addWidget(m_directory);
    m_customCaption = captionLabel(SettingsScreen::customCaption(), group);
    texts->addWidget(m_customCaption);
    row->addLayout(texts, 1);
    m_changeButton = new QPushButton(SettingsScreen::changeTitle(), group);
    m_changeButton->setAccessibleName(SettingsScreen::changeTitle());
    m_changeButton->setAutoDefault(false);
    connect(m_changeButton, &QPushButton::clicked, this, [this] { m_screen->chooseDirectory(m_chooser); });
    row->addWidget(m_changeButton, 0, Qt::AlignTop);
    m_resetButton = new QPushButton(SettingsScreen::resetTitle(), group);
    m_resetButton->setAccessibleName(SettingsScreen::resetTitle());
    m_resetButton->setAutoDefault(false);
    connect(m_resetButton, &QPushButton::clicked, m_screen, &SettingsScreen::resetDirectory);
    row->addWidget(m_resetButton, 0, Qt::AlignTop);
    outer->addWidget(group);
    outer->addWidget(captionLabel(SettingsScreen::directoryFooter(), section));
    return section;
}

QWidget* SettingsView::buildUploadSection() {
    auto* section = new QWidget(this);
    auto* outer = new QVBoxLayout(section);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(6);
    auto* group = new QGroupBox(SettingsScreen::uploadSectionTitle(), section);
    auto* layout = new QVBoxLayout(group);
    layout->setSpacing(8);
    m_autoUpload = new QCheckBox(SettingsScreen::autoUploadTitle(), group);
    m_autoUpload->setAccessibleName(SettingsScreen::autoUploadTitle());
    connect(m_autoUpload, &QCheckBox::toggled, m_screen, &SettingsScreen::setAutoUpload);
    layout->addWidget(m_autoUpload);

    m_privacyRow = new QWidget(group);
    auto* privacyLayout = new QVBoxLayout(m_privacyRow);
    privacyLayout->setContentsMargins(0, 0, 0, 0);
    privacyLayout->setSpacing(4);
    auto* pickerRow = new QHBoxLayout;
    pickerRow->setSpacing(10);
    auto* pickerLabel = new QLabel(SettingsScreen::privacyPickerTitle(), m_privacyRow);
    pickerRow->addWidget(pickerLabel);
    m_privacy = new QComboBox(m_privacyRow);
    for (UploadPrivacy choice : SettingsScreen::privacyChoices)
        m_privacy->addItem(SettingsScreen::privacyTitle(choice));
    m_privacy->setAccessibleName(SettingsScreen::privacyPickerTitle());
    pickerLabel->setBuddy(m_privacy);
    // `activated` and not a change of index: picking "Include" over an unknown stored value stores it.
    connect(m_privacy, &QComboBox::activated, m_screen, [this](int index) {
        if (index >= 0 && index < int(SettingsScreen::privacyChoices.size()))
            m_screen->setPrivacy(SettingsScreen::privacyChoices[size_t(index)]);
    });
    pickerRow->addWidget(m_privacy);
    pickerRow->addStretch(1);
    privacyLayout->addLayout(pickerRow);
    m_privacyCaption = captionLabel(QString(), m_privacyRow);
    privacyLayout->addWidget(m_privacyCaption);
    layout->addWidget(m_privacyRow);
    outer->addWidget(group);
    m_uploadFooter = captionLabel(QString(), section);
    outer->addWidget(m_uploadFooter);
    return section;
}

QWidget* SettingsView::buildSupportSection() {
    auto* group = new QGroupBox(SettingsScreen::supportSectionTitle(), this);
    auto* layout = new QVBoxLayout(group);
    const SettingsScreen::SupportText text = SettingsScreen::supportText();
    auto* label = new QLabel(text.before.toHtmlEscaped() + u"<b>"_s + text.channel.toHtmlEscaped() +
                                 u"</b>"_s + text.after.toHtmlEscaped(),
                             group);
    label->setObjectName(u"supportText"_s);
    label->setTextFormat(Qt::RichText);
    label->setWordWrap(true);
    label->setAccessibleName(text.plain());
    layout->addWidget(label);
    return group;
}

void SettingsView::refresh() {
    m_directory->setText(m_screen->displayDirectory());
    m_customCaption->setVisible(m_screen->showsCustomCaption());
    m_resetButton->setVisible(m_screen->offersReset());

    const QSignalBlocker blockToggle(m_autoUpload);
    m_autoUpload->setChecked(m_screen->autoUpload());
    m_privacyRow->setVisible(m_screen->showsPrivacyPicker());
    const auto choice = std::find(SettingsScreen::privacyChoices.begin(),
                                  SettingsScreen::privacyChoices.end(), m_screen->privacy());
    const QSignalBlocker blockPicker(m_privacy);
    m_privacy->setCurrentIndex(int(choice - SettingsScreen::privacyChoices.begin()));
    m_privacyCaption->setText(m_screen->privacyCaption());
    m_uploadFooter->setText(m_screen->uploadFooter());
}
