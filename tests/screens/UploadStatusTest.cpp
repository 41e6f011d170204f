#include "screens/UploadStatus.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

using Kind = UploadStatus::Kind;
using UploadState = AppState::UploadState;

const QDateTime now = QDateTime(QDate(2024, 5, 1), QTime(12, 0), Qt::UTC);

UploadStatus statusFor(const UploadState& upload, std::optional<double> mbps = std::nullopt) {
    return UploadStatus::forState(upload, mbps, now);
}

UploadState inProgress(qint64 sent, qint64 total) {
    UploadState upload;
    upload.uploadInProgress = true;
    upload.uploadTotal = 1;
    upload.uploadBytesSent = sent;
    upload.uploadBytesTotal = total;
    return upload;
}

UploadState failedAndDone() {
    UploadState upload;
    upload.uploadTotal = 2;
    upload.uploadSucceeded = 1;
    upload.uploadFailed = 1;
    upload.uploadDone = true;
    return upload;
}

TEST(UploadStatus, PreparingShowsASpinnerAndNoButton) {
    UploadState upload;
    upload.uploadPreparing = true;
    const auto status = statusFor(upload);
    EXPECT_EQ(status.kind, Kind::preparing);
    EXPECT_EQ(status.text, u"Preparing upload..."_s);
    EXPECT_TRUE(status.showsSpinner);
    EXPECT_FALSE(status.showsProgressBar);
    EXPECT_FALSE(status.buttonLabel);
}

TEST(UploadStatus, PreparingWinsOverDeferredAndInProgress) {
    UploadState upload;
    upload.uploadPreparing = true;
    upload.uploadDeferred = true;
    upload.uploadInProgress = true;
    EXPECT_EQ(statusFor(upload).kind, Kind::preparing);
}

TEST(UploadStatus, DeferredGivesTheEstimateAndTheUplinkAndOffersUploadNow) {
    UploadState upload;
    upload.uploadDeferred = true;
    upload.estimatedUploadSecs = 666.7;
    const auto status = statusFor(upload, 1.25);
    EXPECT_EQ(status.kind, Kind::deferred);
    EXPECT_EQ(status.text,
              u"Results saved locally. Upload would take ~11m on your 1.2 Mbps uplink. Will retry "
              u"on a faster connection or next launch."_s);
    EXPECT_EQ(status.buttonLabel, u"Upload Now"_s);
    EXPECT_FALSE(status.showsSpinner);
}

TEST(UploadStatus, DeferredTruncatesTheMinutes) {
    UploadState upload;
    upload.uploadDeferred = true;
    upload.estimatedUploadSecs = 119.9;
    EXPECT_TRUE(statusFor(upload, 3.0).text.contains(u"~1m on your 3.0 Mbps"_s));
}

TEST(UploadStatus, DeferredWithoutEstimateOrUplinkSaysTenMinutesAtZero) {
    UploadState upload;
    upload.uploadDeferred = true;
    EXPECT_EQ(statusFor(upload).text,
              u"Results saved locally. Upload would take ~10m on your 0.0 Mbps uplink. "
              u"Will retry on a faster connection or next launch."_s);
}

TEST(UploadStatus, DeferredWinsOverInProgress) {
    UploadState upload = inProgress(10, 100);
    upload.uploadDeferred = true;
    EXPECT_EQ(statusFor(upload).kind, Kind::deferred);
}

TEST(UploadStatus, InProgressWithoutByteTotalCountsFilesWithASpinner) {
    UploadState upload = inProgress(0, 0);
    upload.uploadTotal = 3;
    upload.uploadSucceeded = 1;
    upload.uploadFailed = 1;
    const auto status = statusFor(upload);
    EXPECT_EQ(status.kind, Kind::uploadingCount);
    EXPECT_EQ(status.text, u"Uploading (3/3)..."_s);
    EXPECT_TRUE(status.showsSpinner);
    EXPECT_FALSE(status.showsProgressBar);
}

TEST(UploadStatus, InProgressCountsTheFirstFileAsOne) {
    UploadState upload = inProgress(0, 0);
    upload.uploadTotal = 1;
    EXPECT_EQ(statusFor(upload).text, u"Uploading (1/1)..."_s);
}

TEST(UploadStatus, InProgressWithByteTotalShowsTheBar) {
    UploadState upload = inProgress(262'144, 5'242'880);
    upload.uploadProgressPct = 5;
    upload.uploadEtaSecs = 75.9;
    const auto status = statusFor(upload);
    EXPECT_EQ(status.kind, Kind::uploadingProgress);
    EXPECT_TRUE(status.showsProgressBar);
    EXPECT_FALSE(status.showsSpinner);
    EXPECT_EQ(status.progressValue, 262'144);
    EXPECT_EQ(status.progressMaximum, 5'242'880);
    EXPECT_EQ(status.percentText, u"5%"_s);
    EXPECT_EQ(status.etaText, u"~1:15 left"_s);
    EXPECT_EQ(status.sizeLine, u"Uploading 5.0 MB"_s);
    EXPECT_TRUE(status.text.isEmpty());
}

TEST(UploadStatus, InProgressWithOneByteTotalAlreadyShowsTheBar) {
    EXPECT_EQ(statusFor(inProgress(0, 1)).kind, Kind::uploadingProgress);
}

TEST(UploadStatus, EtaBelowAMinuteReadsSecondsAndFromAMinuteMinutesAndSeconds) {
    UploadState upload = inProgress(1, 2048);
    upload.uploadEtaSecs = 59.9;
    EXPECT_EQ(statusFor(upload).etaText, u"~59s left"_s);
    upload.uploadEtaSecs = 60;
    EXPECT_EQ(statusFor(upload).etaText, u"~1:00 left"_s);
    upload.uploadEtaSecs = 75;
    EXPECT_EQ(statusFor(upload).etaText, u"~1:15 left"_s);
    upload.uploadEtaSecs = 3600;
    EXPECT_EQ(statusFor(upload).etaText, u"~60:00 left"_s);
    upload.uploadEtaSecs = 0.4;
    EXPECT_EQ(statusFor(upload).etaText, u"~0s left"_s);
}

TEST(UploadStatus, EtaOfZeroOrAbsentShowsNoEta) {
    UploadState upload = inProgress(1, 2048);
    EXPECT_FALSE(statusFor(upload).etaText);
    upload.uploadEtaSecs = 0;
    EXPECT_FALSE(statusFor(upload).etaText);
    upload.uploadEtaSecs = -3;
    EXPECT_FALSE(statusFor(upload).etaText);
}

TEST(UploadStatus, SizeReadsKilobytesBelowAMebibyteAndMegabytesFromIt) {
    EXPECT_EQ(statusFor(inProgress(0, 1'048'575)).sizeLine, u"Uploading 1023 KB"_s);
    EXPECT_EQ(statusFor(inProgress(0, 1'048'576)).sizeLine, u"Uploading 1.0 MB"_s);
    EXPECT_EQ(statusFor(inProgress(0, 5'767'168)).sizeLine, u"Uploading 5.5 MB"_s);
    EXPECT_EQ(statusFor(inProgress(0, 2047)).sizeLine, u"Uploading 1 KB"_s);
}

TEST(UploadStatus, SizeLineNamesThePositionOnlyForMoreThanOneFile) {
    UploadState upload = inProgress(0, 2048);
    upload.uploadTotal = 1;
    EXPECT_EQ(statusFor(upload).sizeLine, u"Uploading 2 KB"_s);
    upload.uploadTotal = 4;
    upload.uploadSucceeded = 2;
    EXPECT_EQ(statusFor(upload).sizeLine, u"Uploading 2 KB (3/4)"_s);
}

TEST(UploadStatus, InProgressWinsOverSkippedAndResults) {
    UploadState upload = inProgress(0, 2048);
    upload.uploadSkippedReason = u"no_credentials"_s;
    upload.uploadFailed = 1;
    EXPECT_EQ(statusFor(upload).kind, Kind::uploadingProgress);
}

TEST(UploadStatus, SkippedForMissingCredentialsNamesR2) {
    UploadState upload;
    upload.uploadSkippedReason = u"no_credentials"_s;
    const auto status = statusFor(upload);
    EXPECT_EQ(status.kind, Kind::skipped);
    EXPECT_EQ(status.text, u"Upload skipped — no R2 credentials"_s);
    EXPECT_FALSE(status.buttonLabel);
}

TEST(UploadStatus, SkippedForAnyOtherReasonQuotesIt) {
    UploadState upload;
    upload.uploadSkippedReason = u"disabled_by_flag"_s;
    upload.uploadSucceeded = 2;
    EXPECT_EQ(statusFor(upload).text, u"Upload skipped — disabled_by_flag"_s);
}

TEST(UploadStatus, NothingUploadedNothingFailedNothingSkippedShowsNothing) {
    const auto status = statusFor(UploadState{});
    EXPECT_EQ(status, UploadStatus{});
    EXPECT_EQ(status.kind, Kind::none);
}

TEST(UploadStatus, ErrorsWithoutAFailureCountShowNothing) {
    UploadState upload;
    upload.uploadErrors = {{u"a.json"_s, u"boom"_s, true}};
    EXPECT_EQ(statusFor(upload).kind, Kind::none);
}

TEST(UploadStatus, SuccessCountsOneFileInTheSingular) {
    UploadState upload;
    upload.uploadSucceeded = 1;
    const auto status = statusFor(upload);
    EXPECT_EQ(status.kind, Kind::uploaded);
    EXPECT_EQ(status.text, u"1 file uploaded to R2"_s);
}

TEST(UploadStatus, SuccessCountsSeveralFilesInThePlural) {
    UploadState upload;
    upload.uploadSucceeded = 2;
    EXPECT_EQ(statusFor(upload).text, u"2 files uploaded to R2"_s);
}

TEST(UploadStatus, FailureShowsTheBlockWithBothCountsInTheHeading) {
    UploadState upload;
    upload.uploadSucceeded = 3;
    upload.uploadFailed = 2;
    const auto status = statusFor(upload);
    EXPECT_EQ(status.kind, Kind::block);
    EXPECT_EQ(status.heading, u"3 uploaded, 2 failed"_s);
}

TEST(UploadStatus, SizeSkipWithoutFailureHeadsTheBlockWithTheUploadedCount) {
    UploadState upload;
    upload.uploadSucceeded = 1;
    upload.uploadSizeSkips = {{u"exceeds_size_limit"_s, u"big.pcap"_s, 150.0, 100.0, std::nullopt}};
    auto status = statusFor(upload);
    EXPECT_EQ(status.kind, Kind::block);
    EXPECT_EQ(status.heading, u"1 file uploaded"_s);
    upload.uploadSucceeded = 4;
    status = statusFor(upload);
    EXPECT_EQ(status.heading, u"4 files uploaded"_s);
    EXPECT_FALSE(status.failureLine);
    EXPECT_FALSE(status.buttonLabel);
}

TEST(UploadStatus, BlockWithoutSuccessHasNoHeading) {
    UploadState upload;
    upload.uploadFailed = 1;
    EXPECT_FALSE(statusFor(upload).heading);
}

TEST(UploadStatus, BlockListsErrorsThenSizeSkips) {
    UploadState upload;
    upload.uploadFailed = 2;
    upload.uploadErrors = {{u"a.json"_s, u"timeout"_s, true}, {u"b.csv"_s, u"403 Forbidden"_s, false}};
    upload.uploadSizeSkips = {{u"exceeds_size_limit"_s, u"big.pcap"_s, 150.9, 100.5, u"/tmp/big.pcap"_s}};
    EXPECT_EQ(statusFor(upload).rows,
              (QStringList{u"a.json: timeout"_s, u"b.csv: 403 Forbidden"_s,
                           u"big.pcap too large (150 MB, limit 100 MB) — available locally"_s}));
}

TEST(UploadStatus, SizeSkipRowFillsInAbsentFileSizeAndLimit) {
    UploadState upload;
    upload.uploadSizeSkips = {
        {u"exceeds_size_limit"_s, std::nullopt, std::nullopt, std::nullopt, std::nullopt},
        {u"exceeds_size_limit"_s, u"c.bin"_s, 250.0, std::nullopt, std::nullopt}};
    EXPECT_EQ(statusFor(upload).rows,
              (QStringList{u"file too large (0 MB, limit 100 MB) — available locally"_s,
                           u"c.bin too large (250 MB, limit 100 MB) — available locally"_s}));
}

TEST(UploadStatus, FailureWithRetryPendingCountsDownAndOffersRetryNow) {
    UploadState upload = failedAndDone();
    upload.pendingRetryAt = now.addMSecs(299'600);
    const auto status = statusFor(upload);
    EXPECT_EQ(status.failureLine,
              u"Upload failed. Next attempt in 5m 0s. You can close the app; the next launch "
              u"will try again."_s);
    EXPECT_EQ(status.buttonLabel, u"Retry Now"_s);
}

TEST(UploadStatus, FailureCountdownFollowsTheClock) {
    UploadState upload = failedAndDone();
    upload.pendingRetryAt = now.addSecs(90);
    EXPECT_TRUE(UploadStatus::forState(upload, std::nullopt, now.addSecs(31))
                    .failureLine->contains(u"Next attempt in 59s."_s));
    EXPECT_TRUE(UploadStatus::forState(upload, std::nullopt, now.addSecs(120))
                    .failureLine->contains(u"Next attempt in 0s."_s));
}

TEST(UploadStatus, FailureWithoutRetryPendingKeepsTryingAndOffersRetryNow) {
    const auto status = statusFor(failedAndDone());
    EXPECT_EQ(status.failureLine, u"Upload failed. Will keep trying periodically and on next launch."_s);
    EXPECT_EQ(status.buttonLabel, u"Retry Now"_s);
}

TEST(UploadStatus, NoFailureLineWhileTheRunIsNotDone) {
    UploadState upload = failedAndDone();
    upload.uploadDone = false;
    upload.pendingRetryAt = now.addSecs(60);
    const auto status = statusFor(upload);
    EXPECT_EQ(status.kind, Kind::block);
    EXPECT_FALSE(status.failureLine);
    EXPECT_FALSE(status.buttonLabel);
}

TEST(UploadStatus, CountdownRoundsToWholeSeconds) {
    EXPECT_EQ(UploadStatus::countdownText(299.6), u"5m 0s"_s);
    EXPECT_EQ(UploadStatus::countdownText(61), u"1m 1s"_s);
    EXPECT_EQ(UploadStatus::countdownText(60), u"1m 0s"_s);
    EXPECT_EQ(UploadStatus::countdownText(59.4), u"59s"_s);
    EXPECT_EQ(UploadStatus::countdownText(59.5), u"1m 0s"_s);
    EXPECT_EQ(UploadStatus::countdownText(0.4), u"0s"_s);
}

TEST(UploadStatus, CountdownNeverGoesBelowZero) {
    EXPECT_EQ(UploadStatus::countdownText(-0.4), u"0s"_s);
    EXPECT_EQ(UploadStatus::countdownText(-12), u"0s"_s);
    EXPECT_EQ(UploadStatus::countdownText(std::nan("")), u"0s"_s);
}

} // namespace
