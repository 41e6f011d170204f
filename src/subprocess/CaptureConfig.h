#pragma once

#include <QString>
#include <QStringView>

#include <array>
#include <optional>

// How the upload tool treats what names the network. The raw values are the words on the wire and in
// the settings; reading them back is an exact match.
enum class UploadPrivacy { include, hash, omit };

// The capture profile. `active` is the tool's default and is never named on its command line.
enum class CaptureProfile { active, passive };

inline constexpr std::array<UploadPrivacy, 3> allUploadPrivacies{UploadPrivacy::include, UploadPrivacy::hash,
                                                                 UploadPrivacy::omit};
inline constexpr std::array<CaptureProfile, 2> allCaptureProfiles{CaptureProfile::active,
                                                                  CaptureProfile::passive};

inline QString rawValue(UploadPrivacy privacy) {
    switch (privacy) {
    case UploadPrivacy::hash:
        return QStringLiteral("hash");
    case UploadPrivacy::omit:
        return QStringLiteral("omit");
    case UploadPrivacy::include:
        break;
    }
    return QStringLiteral("include");
}

inline QString rawValue(CaptureProfile profile) {
    return profile == CaptureProfile::passive ? QStringLiteral("passive") : QStringLiteral("active");
}

inline std::optional<UploadPrivacy> uploadPrivacyFromRawValue(QStringView text) {
    for (UploadPrivacy privacy : allUploadPrivacies) {
        if (text == rawValue(privacy))
            return privacy;
    }
    return std::nullopt;
}

inline std::optional<CaptureProfile> captureProfileFromRawValue(QStringView text) {
    for (CaptureProfile profile : allCaptureProfiles) {
        if (text == rawValue(profile))
            return profile;
    }
    return std::nullopt;
}

// What the user chose for one capture, as the setup screen hands it over.
struct CaptureConfig {
    std::optional<QString> location;
    std::optional<QString> network;
    // As the tool's --duration takes it; absent means open-ended, while an empty text is passed on.
    std::optional<QString> durationString;
    UploadPrivacy privacy = UploadPrivacy::include;
    CaptureProfile profile = CaptureProfile::active;

    friend bool operator==(const CaptureConfig&, const CaptureConfig&) = default;
};
