#pragma once

#include "subprocess/CaptureConfig.h"

#include <QString>
#include <QStringList>

// What the setup screen's controls hold, and the one way they become a capture's configuration, so
// that the window and the command line start captures alike.
struct SetupChoices {
    // The timed durations offered, in the order they are shown.
    static const QStringList durations;
    static constexpr const char* defaultDuration = "5m";

    QString location;
    QString network;
    bool isTimed = true;
    QString selectedDuration = QString::fromLatin1(defaultDuration);
    CaptureProfile selectedProfile = CaptureProfile::active;

    // An empty field is absent; nothing is trimmed. A timed test always runs the active profile.
    CaptureConfig toCaptureConfig(UploadPrivacy privacy) const {
        CaptureConfig config;
        if (!location.isEmpty())
            config.location = location;
        if (!network.isEmpty())
            config.network = network;
        if (isTimed)
            config.durationString = selectedDuration;
        config.privacy = privacy;
        config.profile = isTimed ? CaptureProfile::active : selectedProfile;
        return config;
    }
};

inline const QStringList SetupChoices::durations = {QStringLiteral("5m"),  QStringLiteral("10m"),
                                                    QStringLiteral("15m"), QStringLiteral("30m"),
                                                    QStringLiteral("1h"),  QStringLiteral("3h")};
