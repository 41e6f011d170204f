#include "screens/UploadStatusIcons.h"

#include "screens/ResultsPalette.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Upload = AppState::UploadState;

namespace {

const QDateTime now(QDate(2026, 3, 14), QTime(9, 30), Qt::UTC);

UploadStatusIcons iconsFor(const Upload& upload) {
    return UploadStatusIcons::forStatus(UploadStatus::forState(upload, 12.5, now), upload);
}

SymbolIcon plain(const QString& name) {
    return SymbolIcon{name, std::nullopt};
}

UploadSkippedEvent sizeSkip() {
    return UploadSkippedEvent{u"exceeds_size_limit"_s, u"big.csv"_s, 250.0, 100.0, std::nullopt};
}

} // namespace

TEST(UploadStatusIconsRule, TheDeferredRowHasAnOrangeClock) {
    Upload upload;
    upload.uploadDeferred = true;
    const UploadStatusIcons icons = iconsFor(upload);
    EXPECT_EQ(icons.text, (SymbolIcon{u"clock.arrow.circlepath"_s, ResultsPalette::speedTestColor()}));
    EXPECT_FALSE(icons.heading);
    EXPECT_FALSE(icons.failureLine);
}

TEST(UploadStatusIconsRule, CountsWithoutFailuresHaveACheckedCloud) {
    Upload upload;
    upload.uploadSucceeded = 3;
    upload.uploadDone = true;
    EXPECT_EQ(iconsFor(upload).text, plain(u"checkmark.icloud"_s));

    // The block's heading, when a size skip turned the row into a block.
    upload.uploadSizeSkips = {sizeSkip()};
    const UploadStatusIcons block = iconsFor(upload);
    EXPECT_EQ(block.heading, plain(u"checkmark.icloud"_s));
    EXPECT_FALSE(block.text);
}

TEST(UploadStatusIconsRule, CountsWithFailuresHaveACloudWithAnExclamationMark) {
    Upload upload;
    upload.uploadSucceeded = 2;
    upload.uploadFailed = 1;
    upload.uploadDone = true;
    upload.uploadErrors = {UploadErrorEvent{u"a.csv"_s, u"timeout"_s, true}};
    EXPECT_EQ(iconsFor(upload).heading, plain(u"exclamationmark.icloud"_s));
}

TEST(UploadStatusIconsRule, TheLineAboutTheNextAttemptHasACloudWithAnArrow) {
    Upload upload;
    upload.uploadFailed = 1;
    upload.uploadDone = true;
    upload.uploadErrors = {UploadErrorEvent{u"a.csv"_s, u"timeout"_s, true}};
    EXPECT_EQ(iconsFor(upload).failureLine, plain(u"arrow.clockwise.icloud"_s));
    upload.pendingRetryAt = now.addSecs(60);
    EXPECT_EQ(iconsFor(upload).failureLine, plain(u"arrow.clockwise.icloud"_s));
    EXPECT_FALSE(iconsFor(upload).heading) << "no file went up: the block has no heading";
}

TEST(UploadStatusIconsRule, SkippedRowsHaveAStruckCloud) {
    Upload upload;
    upload.uploadSkippedReason = u"no_credentials"_s;
    EXPECT_EQ(iconsFor(upload).text, plain(u"icloud.slash"_s));
}

TEST(UploadStatusIconsRule, InTheBlockOnlyTheSizeSkipsHaveAStruckCloud) {
    Upload upload;
    upload.uploadSucceeded = 1;
    upload.uploadFailed = 2;
    upload.uploadDone = true;
    upload.uploadErrors = {UploadErrorEvent{u"a.csv"_s, u"timeout"_s, true},
                           UploadErrorEvent{u"b.csv"_s, u"denied"_s, false}};
    upload.uploadSizeSkips = {sizeSkip()};
    const UploadStatusIcons icons = iconsFor(upload);
    EXPECT_EQ(icons.rows,
              (QList<std::optional<SymbolIcon>>{std::nullopt, std::nullopt, plain(u"icloud.slash"_s)}));
}

TEST(UploadStatusIconsRule, ASpinnerOrABarNeedsNoIcon) {
    Upload preparing;
    preparing.uploadPreparing = true;
    Upload counting;
    counting.uploadInProgress = true;
    counting.uploadTotal = 2;
    Upload sending = counting;
    sending.uploadBytesTotal = 2048;
    sending.uploadBytesSent = 1024;
    for (const Upload& upload : {preparing, counting, sending, Upload{}})
        EXPECT_EQ(iconsFor(upload), UploadStatusIcons{});
}

TEST(UploadStatusIconsRule, OnlyAPendingRetryShowsACountdown) {
    Upload upload;
    upload.uploadFailed = 1;
    upload.uploadDone = true;
    const auto countdown = [](const Upload& state) {
        return UploadStatusIcons::showsCountdown(UploadStatus::forState(state, std::nullopt, now), state);
    };
    EXPECT_FALSE(countdown(upload));
    upload.pendingRetryAt = now.addSecs(60);
    EXPECT_TRUE(countdown(upload));
    upload.uploadDone = false; // the run goes on: the failure line waits
    EXPECT_FALSE(countdown(upload));
    Upload preparing = upload;
    preparing.uploadPreparing = true;
    EXPECT_FALSE(countdown(preparing));
}
