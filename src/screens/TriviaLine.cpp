#include "screens/TriviaLine.h"

#include "subprocess/BundleResource.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

const QString TriviaContent::fallbackText = u"Measuring your connection..."_s;

namespace {

// Every row must be an object with both keys as text; one bad row spoils the file, as a strict decoder
// would have it.
std::optional<QList<std::pair<QString, QString>>> readRows(const QString& path, QLatin1StringView textKey) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isArray())
        return std::nullopt;
    QList<std::pair<QString, QString>> rows;
    const QJsonArray array = document.array();
    for (const QJsonValue& value : array) {
        const QJsonObject object = value.toObject();
        const QJsonValue category = object.value("category"_L1);
        const QJsonValue text = object.value(textKey);
        if (!value.isObject() || !category.isString() || !text.isString())
            return std::nullopt;
        rows.append({category.toString(), text.toString()});
    }
    return rows;
}

} // namespace

QList<TriviaContent::Fact> TriviaContent::loadFacts(const QString& path) {
    QList<Fact> facts;
    if (const auto rows = readRows(path, "fact"_L1)) {
        for (const auto& [category, text] : *rows)
            facts.append(Fact{category, text});
    }
    return facts;
}

QList<TriviaContent::Appreciation> TriviaContent::loadAppreciations(const QString& path) {
    QList<Appreciation> appreciations;
    if (const auto rows = readRows(path, "message"_L1)) {
        for (const auto& [category, text] : *rows)
            appreciations.append(Appreciation{category, text});
    }
    return appreciations;
}

const QList<TriviaContent::Fact>& TriviaContent::facts() {
    static const QList<Fact> loaded =
        loadFacts(BundleResource::url(u"aviation_facts"_s, u"json"_s).value_or(QString()));
    return loaded;
}

const QList<TriviaContent::Appreciation>& TriviaContent::appreciations() {
    static const QList<Appreciation> loaded =
        loadAppreciations(BundleResource::url(u"appreciation"_s, u"json"_s).value_or(QString()));
    return loaded;
}

QStringList TriviaContent::categoriesFor(std::optional<double> durationSecs) {
    const bool shortRun = durationSecs && *durationSecs <= shortRunLimitSeconds;
    return {u"general"_s, shortRun ? u"short_run"_s : u"long_run"_s, u"french"_s, u"german"_s, u"japanese"_s};
}

TriviaContent::TriviaContent(std::optional<double> durationSecs)
    : TriviaContent(durationSecs, facts(), appreciations(), QRandomGenerator::global()->generate()) {}

TriviaContent::TriviaContent(std::optional<double> durationSecs, const QList<Fact>& facts,
                             const QList<Appreciation>& appreciations, quint32 seed)
    : m_random(seed) {
    // The category of a fact plays no part: every fact suits every run.
    for (const Fact& fact : facts)
        m_shuffledFacts.append(fact.fact);
    shuffle(m_shuffledFacts);

    const QStringList categories = categoriesFor(durationSecs);
    for (const Appreciation& appreciation : appreciations) {
        if (categories.contains(appreciation.category))
            m_shuffledAppreciations.append(appreciation.message);
    }
    shuffle(m_shuffledAppreciations);
}

QString TriviaContent::next() {
    ++m_callCount;
    if (m_callCount % appreciationEvery == 0 && !m_shuffledAppreciations.isEmpty())
        return take(m_shuffledAppreciations, m_appreciationIndex);
    if (m_shuffledFacts.isEmpty())
        return fallbackText;
    return take(m_shuffledFacts, m_factIndex);
}

QString TriviaContent::take(QStringList& list, int& index) {
    const int length = int(list.size());
    // A new pass through the list gets a new order.
    if (index >= 1 && index % length == 0)
        shuffle(list);
    const QString text = list.at(index % length);
    ++index;
    return text;
}

void TriviaContent::shuffle(QStringList& list) {
    std::shuffle(list.begin(), list.end(), m_random);
}

// --- TriviaLine -------------------------------------------------------------------------------------

const QStringList TriviaLine::icons = {u"lightbulb"_s, u"magnifyingglass"_s,     u"bubble.left"_s,
                                       u"sparkles"_s,  u"questionmark.circle"_s, u"safari"_s};

TriviaLine::TriviaLine(std::optional<double> durationSecs, ContentFactory factory, QObject* parent)
    : QObject(parent)
    , m_durationSecs(durationSecs)
    , m_factory(factory ? std::move(factory)
                        : ContentFactory([](std::optional<double> secs) { return TriviaContent(secs); }))
    , m_currentIcon(icons.first()) {}

void TriviaLine::start() {
    if (!m_content)
        m_content = m_factory(m_durationSecs);
    advanceContent();
    m_timer = Time::scheduler().repeating(intervalSeconds, this, [this] { rotate(); });
}

void TriviaLine::stop() {
    // A fade already under way still completes, so the line is never left invisible.
    m_timer.cancel();
}

void TriviaLine::rotate() {
    setOpacity(0);
    m_swapTimer = Time::scheduler().singleShot(fadeSeconds, this, [this] {
        advanceContent();
        setOpacity(1);
    });
}

void TriviaLine::advanceContent() {
    m_currentText = m_content ? m_content->next() : QString();
    m_iconIndex = (m_iconIndex + 1) % int(icons.size());
    m_currentIcon = icons.at(m_iconIndex);
    emit contentChanged();
}

void TriviaLine::setDurationSecs(std::optional<double> durationSecs) {
    if (durationSecs == m_durationSecs)
        return;
    m_durationSecs = durationSecs;
    if (m_content)
        m_content = m_factory(m_durationSecs);
}

void TriviaLine::setOpacity(double opacity) {
    if (m_opacity == opacity)
        return;
    m_opacity = opacity;
    emit opacityChanged();
}
