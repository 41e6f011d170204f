#pragma once

#include "base/Clock.h"

#include <QList>
#include <QObject>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// The texts of the trivia line: every fact in a random order, and every fifth call a word of thanks
// that fits the length of the run. Each list is read through before it repeats, in a new order each
// pass.
class TriviaContent {
public:
    struct Fact {
        QString category;
        QString fact;
        friend bool operator==(const Fact&, const Fact&) = default;
    };
    struct Appreciation {
        QString category;
        QString message;
        friend bool operator==(const Appreciation&, const Appreciation&) = default;
    };

    static constexpr double shortRunLimitSeconds = 300;
    static constexpr int appreciationEvery = 5;
    // What the line says when there is no fact to tell.
    static const QString fallbackText;

    // The rows of the data files, read once on first use.
    static const QList<Fact>& facts();
    static const QList<Appreciation>& appreciations();
    // A file that is missing, isn't a JSON array of objects with the two text keys, or can't be read
    // gives an empty list, silently: the line has its fallback.
    static QList<Fact> loadFacts(const QString& path);
    static QList<Appreciation> loadAppreciations(const QString& path);
    // The categories of thanks that fit a run: the short ones up to 300 seconds, the long ones above it
    // and for a run without end.
    static QStringList categoriesFor(std::optional<double> durationSecs);

    // From the data files, shuffled by the system's random source.
    explicit TriviaContent(std::optional<double> durationSecs);
    TriviaContent(std::optional<double> durationSecs, const QList<Fact>& facts,
                  const QList<Appreciation>& appreciations, quint32 seed);

    QString next();

    const QStringList& shuffledFacts() const { return m_shuffledFacts; }
    const QStringList& shuffledAppreciations() const { return m_shuffledAppreciations; }
    int factIndex() const { return m_factIndex; }
    int appreciationIndex() const { return m_appreciationIndex; }
    int callCount() const { return m_callCount; }

private:
    QString take(QStringList& list, int& index);
    void shuffle(QStringList& list);

    QStringList m_shuffledFacts;
    QStringList m_shuffledAppreciations;
    int m_factIndex = 0;
    int m_appreciationIndex = 0;
    int m_callCount = 0;
    QRandomGenerator m_random;
};

// The model of the trivia line: a new text every 25 seconds, each with the next icon of a fixed round,
// faded out and back in.
class TriviaLine : public QObject {
    Q_OBJECT

public:
    static constexpr double intervalSeconds = 25;
    // Each half of a change: the old text fades out over this time, then the new one fades in.
    static constexpr double fadeSeconds = 0.3;
    static const QStringList icons;

    using ContentFactory = std::function<TriviaContent(std::optional<double> durationSecs)>;

    // `durationSecs` is the capture's length, absent for a run without end. Without a factory the
    // content comes from the data files.
    explicit TriviaLine(std::optional<double> durationSecs, ContentFactory factory = {},
                        QObject* parent = nullptr);

    const QString& currentText() const { return m_currentText; }
    const QString& currentIcon() const { return m_currentIcon; }
    int iconIndex() const { return m_iconIndex; }
    // The opacity the line is heading for: 0 while the old text fades out, 1 otherwise.
    double opacity() const { return m_opacity; }
    const std::optional<TriviaContent>& content() const { return m_content; }
    std::optional<double> durationSecs() const { return m_durationSecs; }
    bool isRunning() const { return m_timer.isActive(); }

    // The line appears: the first text at once, then one every 25 seconds.
    void start();
    // The line goes away: no more changes until it appears again.
    void stop();
    void advanceContent();
    // The capture's length became known after the line appeared: the texts are chosen again for it, so
    // that a short run gets the thanks meant for short runs. The text on screen stays.
    void setDurationSecs(std::optional<double> durationSecs);

signals:
    // currentText or currentIcon changed.
    void contentChanged();
    // The opacity target changed: towards 0 with an ease-out, towards 1 with an ease-in, each over
    // fadeSeconds.
    void opacityChanged();

private:
    void setOpacity(double opacity);
    void rotate();

    std::optional<double> m_durationSecs;
    ContentFactory m_factory;
    std::optional<TriviaContent> m_content;
    QString m_currentText;
    QString m_currentIcon;
    double m_opacity = 1;
    int m_iconIndex = 0;
    Timer m_timer;
    Timer m_swapTimer;
};
