#pragma once

#include "services/ConnectivityDiagnostics.h"

#include <QString>
#include <QStringList>

// The words of a diagnosis verdict, shared by the diagnostics screen and the command line.
struct DiagnosticsVerdictText {
    enum class Tone { yellow, orange, red };

    QString icon; // symbol name, mapped to the icon theme by the view
    Tone tone = Tone::red;
    QString headline;
    QString explanation; // the body text above any bullet points
    QStringList bullets; // empty for all but gatewayOnly

    static DiagnosticsVerdictText forVerdict(const ConnectivityDiagnostics::Verdict& verdict);
};
