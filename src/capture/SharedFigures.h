#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringView>

#include <optional>

// The figures and labels that the live screens and the results share.

// The one median of the program: the middle value, or the mean of the two middle values. Values that
// are not finite numbers are passed over: they are no measurement, and leaving them out keeps every
// median finite, so the whole-number texts built from medians never meet NaN or infinity.
// Linear time; the list is not reordered.
std::optional<double> median(const QList<double>& values);

// The age of a figure on the injected clock: nothing under 30 seconds, then "1m ago", "{n}m ago",
// ">1h ago", ">{n}h ago".
std::optional<QString> formatTimeAgo(const std::optional<QDateTime>& date);

// A label for a video resolution: "1920x1080" reads "1080p", "hd2160" reads "4K"; a text it can't read
// comes back as it stands.
QString parseYouTubeResolution(const QString& resolution);
