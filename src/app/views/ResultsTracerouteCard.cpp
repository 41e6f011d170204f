#include "ResultsTracerouteCard.h"

#include "screens/ResultsPalette.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;
using namespace ResultsChartParts;
using namespace ResultsTracerouteChart;

namespace {

QLabel* smallLabel(const QString& text, QWidget* parent, bool secondary = true) {
    auto* label = new QLabel(text, parent);
    label->setFont(smallFont(parent->font()));
    if (secondary)
        label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

void paintText(QLabel* label, const QColor& color) {
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    label->setForegroundRole(QPalette::WindowText);
}

} // namespace

ResultsTracerouteCard::ResultsTracerouteCard(const Model& model, QWidget* parent)
    : ResultsChartCard(model.title, {}, parent)
    , m_model(model) {
    // The subtitle: the hop count, and whether the routes kept to one path.
    auto* subtitle = new QHBoxLayout;
    subtitle->setContentsMargins(0, 0, 0, 0);
    subtitle->addWidget(smallLabel(m_model.hopCountText, this));
    if (m_model.pathText) {
        subtitle->addWidget(smallLabel(u"·"_s, this));
        QLabel* path = smallLabel(*m_model.pathText, this);
        if (m_model.pathChanged)
            paintText(path, toColor(m_model.bottleneckColor));
        subtitle->addWidget(path);
    }
    subtitle->addStretch(1);
    body()->addLayout(subtitle);
    body()->addSpacing(fontMetrics().height() / 3);

    if (m_model.unavailableText) {
        QLabel* unavailable = smallLabel(*m_model.unavailableText, this);
        unavailable->setAlignment(Qt::AlignCenter);
        body()->addStretch(1);
        body()->addWidget(unavailable);
        body()->addStretch(1);
        return;
    }

    body()->addWidget(smallLabel(m_model.routeText, this, false));
    auto* rows = new QGridLayout;
    rows->setContentsMargins(0, 2, 0, 0);
    rows->setHorizontalSpacing(fontMetrics().averageCharWidth());
    rows->setVerticalSpacing(2);
    const QColor ordinary = toColor(ResultsPalette::uploadColor(), 0.75);
    const QColor bottleneck = toColor(m_model.bottleneckColor);
    int line = 0;
    for (const HopRow& row : m_model.rows) {
        QLabel* number = smallLabel(row.hopText, this);
        number->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        // A long IPv6 address may break after its colons rather than widen the card past its column.
        QString breakable = row.address;
        breakable.replace(u':', u":\u200B"_s);
        QLabel* address = smallLabel(breakable, this, false);
        address->setWordWrap(true);
        address->setAccessibleName(row.address);
        QLabel* rtt = smallLabel(row.rttText.value_or(QString()), this, false);
        rtt->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        QLabel* delta = smallLabel(row.deltaText.value_or(QString()), this);
        delta->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        if (row.bottleneck) {
            paintText(address, bottleneck);
            paintText(delta, bottleneck);
            address->setAccessibleDescription(u"Bottleneck"_s);
        }
        rows->addWidget(number, line, 0);
        rows->addWidget(address, line, 1);
        rows->addWidget(
            new ResultsShareBar(row.barStart, row.barLength, row.bottleneck ? bottleneck : ordinary, this),
            line, 2, Qt::AlignVCenter);
        rows->addWidget(rtt, line, 3);
        rows->addWidget(delta, line, 4);
        ++line;
    }
    rows->setColumnStretch(2, 1);
    body()->addLayout(rows);
    body()->addStretch(1);
}
