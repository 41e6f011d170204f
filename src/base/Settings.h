#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class QSettings;

// The user's persistent settings, by key. Every change is written to disk at once.
//
// A value reads as a boolean only when it was stored as one: "holds false" and "missing or anything
// else" are different answers, and callers that care ask boolValue() for the optional.
class Settings {
public:
    // The keys in use, so that a reader finds every use of a setting in one search.
    static constexpr const char* autoUpload = "autoUpload";
    static constexpr const char* uploadPrivacy = "uploadPrivacy";
    static constexpr const char* captureDirectory = "captureDirectory";
    static constexpr const char* lastMeasuredUplinkMbps = "lastMeasuredUplinkMbps";
    static constexpr const char* pastLocations = "pastLocations";
    static constexpr const char* pastNetworks = "pastNetworks";
    static constexpr const char* historySeeded = "historySeeded";
    static constexpr const char* seenYouTubeEnabled = "seenYouTubeEnabled";

    // The user's own settings file under the configuration folder of HOME.
    Settings();
    // Any other file, for tests.
    explicit Settings(const QString& filePath);
    ~Settings();
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    // Told of every change that couldn't be written, with the file's path; the change still holds for
    // this object. The program logs these.
    using WriteFailed = std::function<void(const QString& filePath)>;
    static void onWriteFailed(WriteFailed handler);

    QString filePath() const;
    bool contains(const QString& key) const;
    void remove(const QString& key);

    std::optional<bool> boolValue(const QString& key) const;
    bool boolValue(const QString& key, bool defaultValue) const {
        return boolValue(key).value_or(defaultValue);
    }
    void setBool(const QString& key, bool value);

    std::optional<double> doubleValue(const QString& key) const;
    void setDouble(const QString& key, double value);

    std::optional<QString> stringValue(const QString& key) const;
    QString stringValue(const QString& key, const QString& defaultValue) const {
        return stringValue(key).value_or(defaultValue);
    }
    void setString(const QString& key, const QString& value);

    // Lists are kept as a JSON array of text; anything else stored under the key reads as empty, and
    // entries that aren't text are passed over.
    QStringList stringList(const QString& key) const;
    void setStringList(const QString& key, const QStringList& values);

private:
    void store(const QString& key, const QVariant& value);
    void sync();

    std::unique_ptr<QSettings> m_settings;
};
