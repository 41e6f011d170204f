#include "views/SettingsView.h"

#include "base/Settings.h"
#include "platform/Locations.h"
#include "support/TempHome.h"
#include "support/VisibleTexts.h"
#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QStyleOption>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QPushButton* button(const QWidget& view, const QString& text) {
    const QList<QPushButton*> buttons = view.findChildren<QPushButton*>();
    for (QPushButton* candidate : buttons) {
        if (candidate->text() == text)
            return candidate;
    }
    return nullptr;
}

const QString footerOn =
    u"Captures are uploaded automatically after completion. Controls what network details (SSID, BSSID, "
    u"network name, location) are included. \"Hash\" replaces values with anonymous identifiers that "
    u"preserve grouping in reports."_s;
const QString footerOff = u"Captures are stored locally only. You can upload manually later via the CLI."_s;

class SettingsViewTest : public ::testing::Test {
protected:
    void TearDown() override { Theme::apply(*qApp, Theme::Scheme::Light); }

    std::unique_ptr<SettingsView> makeView() {
        auto view = std::make_unique<SettingsView>();
        view->setDirectoryChooser([this](const QString& title, const QString& start) {
            asked.append({title, start});
            return chosen;
        });
        view->show();
        QApplication::processEvents();
        return view;
    }

    void savePicture(QWidget& view, const QString& name) {
        if (qEnvironmentVariableIsSet("NORVANE_VIEW_PICTURES"))
            view.grab().save(QDir::temp().filePath(u"settings-%1.png"_s.arg(name)));
    }

    TempHome home;
    std::optional<QString> chosen;
    QList<std::pair<QString, QString>> asked;
};

TEST_F(SettingsViewTest, AWindowTitledSettingsWithItsThreeSections) {
    auto view = makeView();
    EXPECT_TRUE(view->isWindow());
    EXPECT_EQ(view->windowTitle(), u"Settings"_s);
    const QStringList texts = visibleTexts(*view);
    for (const QString& word :
         {u"Capture Directory"_s, u"Change..."_s,
          u"Where capture CSVs are stored. Changing this does not move existing captures."_s, u"Upload"_s,
          u"Auto-upload captures"_s, u"Upload privacy"_s, u"Upload network details as-is"_s, footerOn,
          u"Support"_s})
        EXPECT_TRUE(texts.contains(word)) << qPrintable(word) << " in " << qPrintable(texts.join(u" | "_s));
    EXPECT_FALSE(texts.contains(u"Reset"_s));
    EXPECT_FALSE(texts.contains(u"Custom location"_s));
    EXPECT_EQ(view->directoryText(), u'~' + Locations::defaultCaptureDir().mid(Locations::home().size()));

    const QLabel* support = view->findChild<QLabel*>(u"supportText"_s);
    ASSERT_NE(support, nullptr);
    EXPECT_EQ(support->text(), u"Questions or feedback? Post to <b>#quillon</b> on Slack."_s);
    EXPECT_EQ(support->textFormat(), Qt::RichText);

    const auto* picker = view->findChild<QComboBox*>();
    ASSERT_NE(picker, nullptr);
    QStringList items;
    for (int i = 0; i < picker->count(); ++i)
        items.append(picker->itemText(i));
    EXPECT_EQ(items, (QStringList{u"Include"_s, u"Hash"_s, u"Omit"_s}));
    EXPECT_TRUE(view->findChild<QCheckBox*>()->isChecked());

    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        savePicture(*view, u"on-%1"_s.arg(QLatin1StringView(Theme::name(scheme))));
    }
}

TEST_F(SettingsViewTest, ChangeAsksForAFolderAndResetGoesAsSoonAsTheCustomOneIsCleared) {
    auto view = makeView();
    chosen = u"/srv/norvane/captures"_s;
    button(*view, u"Change..."_s)->click();
    ASSERT_EQ(asked.size(), 1);
    EXPECT_EQ(asked[0].first, u"Choose Capture Directory"_s);
    EXPECT_EQ(asked[0].second, Locations::defaultCaptureDir());
    EXPECT_EQ(Settings().stringValue(QString::fromLatin1(Settings::captureDirectory)),
              u"/srv/norvane/captures"_s);
    QApplication::processEvents();
    EXPECT_EQ(view->directoryText(), u"/srv/norvane/captures"_s);
    QStringList texts = visibleTexts(*view);
    EXPECT_TRUE(texts.contains(u"Custom location"_s));
    EXPECT_TRUE(texts.contains(u"Reset"_s));
    savePicture(*view, u"custom-light"_s);

    chosen.reset();
    button(*view, u"Change..."_s)->click();
    EXPECT_EQ(asked.last().second, u"/srv/norvane/captures"_s);
    EXPECT_EQ(view->directoryText(), u"/srv/norvane/captures"_s) << "a cancel changes nothing";

    button(*view, u"Reset"_s)->click();
    QApplication::processEvents();
    texts = visibleTexts(*view);
    EXPECT_FALSE(texts.contains(u"Reset"_s));
    EXPECT_FALSE(texts.contains(u"Custom location"_s));
    EXPECT_EQ(Settings().stringValue(QString::fromLatin1(Settings::captureDirectory)), QString());
}

TEST_F(SettingsViewTest, TurningAutoUploadOffHidesThePrivacyChoiceAndKeepsIt) {
    auto view = makeView();
    auto* picker = view->findChild<QComboBox*>();
    picker->setCurrentIndex(1);
    emit picker->activated(1);
    EXPECT_EQ(Settings().stringValue(QString::fromLatin1(Settings::uploadPrivacy)), u"hash"_s);
    QApplication::processEvents();
    EXPECT_TRUE(visibleTexts(*view).contains(u"Replace with anonymous identifiers"_s));

    view->findChild<QCheckBox*>()->click();
    QApplication::processEvents();
    EXPECT_EQ(Settings().boolValue(QString::fromLatin1(Settings::autoUpload)), false);
    const QStringList texts = visibleTexts(*view);
    EXPECT_TRUE(texts.contains(footerOff));
    EXPECT_FALSE(texts.contains(footerOn));
    EXPECT_FALSE(texts.contains(u"Upload privacy"_s));
    EXPECT_FALSE(texts.contains(u"Replace with anonymous identifiers"_s));
    EXPECT_FALSE(picker->isVisible());
    EXPECT_EQ(Settings().stringValue(QString::fromLatin1(Settings::uploadPrivacy)), u"hash"_s);
    for (const Theme::Scheme scheme : {Theme::Scheme::Light, Theme::Scheme::Dark}) {
        Theme::apply(*qApp, scheme);
        QApplication::processEvents();
        savePicture(*view, u"off-%1"_s.arg(QLatin1StringView(Theme::name(scheme))));
    }

    view->findChild<QCheckBox*>()->click();
    QApplication::processEvents();
    EXPECT_TRUE(picker->isVisible());
    EXPECT_EQ(picker->currentText(), u"Hash"_s);
}

TEST_F(SettingsViewTest, EscapeClosesTheWindowWithEveryChangeAlreadyStored) {
    auto view = makeView();
    auto* autoUpload = view->findChild<QCheckBox*>();
    QStyleOptionButton option;
    option.initFrom(autoUpload);
    const QPoint box =
        autoUpload->style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, autoUpload).center();
    QTest::mouseClick(autoUpload, Qt::LeftButton, {}, box);
    ASSERT_EQ(view->focusWidget(), autoUpload);
    QTest::keyClick(view->focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(view->isVisible());
    EXPECT_EQ(Settings().boolValue(QString::fromLatin1(Settings::autoUpload)), false);

    // From the privacy picker too, while its list is shut.
    view->show();
    QApplication::processEvents();
    QTest::mouseClick(autoUpload, Qt::LeftButton, {}, box);
    QApplication::processEvents();
    auto* picker = view->findChild<QComboBox*>();
    ASSERT_TRUE(picker->isVisible());
    picker->setFocus(Qt::TabFocusReason);
    QTest::keyClick(picker, Qt::Key_Escape);
    EXPECT_FALSE(view->isVisible());
    EXPECT_EQ(Settings().boolValue(QString::fromLatin1(Settings::autoUpload)), true);
}

TEST_F(SettingsViewTest, AnUnknownStoredPrivacyShowsAsIncludeUntilPicked) {
    Settings().setString(QString::fromLatin1(Settings::uploadPrivacy), u"scramble"_s);
    auto view = makeView();
    auto* picker = view->findChild<QComboBox*>();
    EXPECT_EQ(picker->currentText(), u"Include"_s);
    EXPECT_EQ(Settings().stringValue(QString::fromLatin1(Settings::uploadPrivacy)), u"scramble"_s);
    // Picking the choice already shown stores it.
    emit picker->activated(0);
    EXPECT_EQ(Settings().stringValue(QString::fromLatin1(Settings::uploadPrivacy)), u"include"_s);
}

TEST_F(SettingsViewTest, AFolderOutsideHomeShowsItsFullPath) {
    Settings().setString(QString::fromLatin1(Settings::captureDirectory), u"/var/tmp/captures"_s);
    auto view = makeView();
    EXPECT_EQ(view->directoryText(), u"/var/tmp/captures"_s);
}

TEST_F(SettingsViewTest, ShowingTheWindowAgainReadsTheSettingsAfresh) {
    auto view = makeView();
    view->hide();
    Settings().setBool(QString::fromLatin1(Settings::autoUpload), false);
    view->show();
    QApplication::processEvents();
    EXPECT_FALSE(view->findChild<QCheckBox*>()->isChecked());
    EXPECT_TRUE(visibleTexts(*view).contains(footerOff));
}

} // namespace
