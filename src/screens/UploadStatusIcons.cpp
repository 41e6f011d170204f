#include "screens/UploadStatusIcons.h"

#include "screens/ResultsPalette.h"

using namespace Qt::StringLiterals;

namespace {

const SymbolIcon skippedIcon{u"icloud.slash"_s, std::nullopt};

} // namespace

UploadStatusIcons UploadStatusIcons::forStatus(const UploadStatus& status,
                                               const AppState::UploadState& upload) {
    using Kind = UploadStatus::Kind;
    UploadStatusIcons icons;
    switch (status.kind) {
    case Kind::deferred:
        icons.text = SymbolIcon{u"clock.arrow.circlepath"_s, ResultsPalette::speedTestColor()};
        break;
    case Kind::skipped:
        icons.text = skippedIcon;
        break;
    case Kind::uploaded:
        icons.text = SymbolIcon{u"checkmark.icloud"_s, std::nullopt};
        break;
    case Kind::block: {
        if (status.heading)
            icons.heading = SymbolIcon{
                upload.uploadFailed > 0 ? u"exclamationmark.icloud"_s : u"checkmark.icloud"_s, std::nullopt};
        // The rows list the errors first, then the files that were too large.
        const qsizetype errors = upload.uploadErrors.size();
        for (qsizetype row = 0; row < status.rows.size(); ++row)
            icons.rows.append(row < errors ? std::nullopt : std::optional(skippedIcon));
        if (status.failureLine)
            icons.failureLine = SymbolIcon{u"arrow.clockwise.icloud"_s, std::nullopt};
        break;
    }
    case Kind::none:
    case Kind::preparing:
    case Kind::uploadingCount:
    case Kind::uploadingProgress:
        break;
    }
    return icons;
}

bool UploadStatusIcons::showsCountdown(const UploadStatus& status, const AppState::UploadState& upload) {
    return status.kind == UploadStatus::Kind::block && status.failureLine && upload.pendingRetryAt;
}
