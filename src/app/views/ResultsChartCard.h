#pragma once

#include "capture/ResultsCharts.h"
#include "capture/RgbColor.h"

#include <QChartView>
#include <QColor>
#include <QFont>
#include <QImage>
#include <QString>
#include <QStringList>
#include <QWidget>

class QAbstractAxis;
class QAbstractSeries;
class QValueAxis;
class QLabel;
class QVBoxLayout;

// The pieces shared by the cards of the results' chart grid: the tile they sit on, the card with its
// header, the placeholder that stands in for a card without data, the styled chart, and small marks.
namespace ResultsChartParts {

QColor toColor(const RgbColor& color, double opacity = 1.0);
// The application font a step smaller, for axis labels, legends and the texts beside a title.
QFont smallFont(const QFont& base);
// A value axis over the domain, with round steps from 0 and whole-number labels.
QValueAxis* makeValueAxis(const ClosedRange& domain, const QString& title);
// A domain from 0 whose top is a whole step, so that the highest line of the grid is labelled.
ClosedRange roundedUp(double top);
void attach(QChart* chart, QAbstractSeries* series, QAbstractAxis* x, QAbstractAxis* y);

} // namespace ResultsChartParts

// A rounded tile a shade off the window colour, in either scheme.
class ResultsChartTile : public QWidget {
    Q_OBJECT
public:
    explicit ResultsChartTile(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

// A chart card: its title at the left, short texts at the right (a median, the latest value), and the
// chart below. The texts at the right wrap under the title when the card is narrow.
class ResultsChartCard : public ResultsChartTile {
    Q_OBJECT
public:
    ResultsChartCard(const QString& title, const QStringList& trailingTexts, QWidget* parent = nullptr);

    QString title() const;
    // Where the card's content goes, below the header.
    QVBoxLayout* body() const { return m_body; }

protected:
    void changeEvent(QEvent* event) override;
    // A plot says nothing to a screen reader: the chart gets a name of its own and, as its text
    // alternative, the figures in words; none given means the texts of the card's header.
    void describeChart(QWidget* chart, const QString& name, const QStringList& figures = {}) const;

private:
    void applyFonts();

    QLabel* m_title = nullptr;
    QList<QLabel*> m_trailing;
    QVBoxLayout* m_body = nullptr;
};

// "Insufficient {name}" with a small downward chart, where a card has too little to show.
class ResultsChartPlaceholder : public ResultsChartTile {
    Q_OBJECT
public:
    explicit ResultsChartPlaceholder(const QString& text, QWidget* parent = nullptr);
    QString text() const;

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyIcon();

    QLabel* m_icon = nullptr;
    QLabel* m_text = nullptr;
};

// A chart without background, legend or frame, whose axes follow the scheme's text colours and the
// small font. Subclasses add their series and axes and then call `restyle()`.
class ResultsChartView : public QChartView {
    Q_OBJECT
public:
    explicit ResultsChartView(QWidget* parent = nullptr);

    // Colours and fonts of every axis after a change of scheme or font.
    void restyle();
    // Room at the right of the plot for labels drawn there, as wide as this one in the small font.
    void setRightLabelRoom(const QString& widestLabel);

protected:
    void changeEvent(QEvent* event) override;
    // After each restyle, for the marks the subclass draws in the scheme's colours.
    virtual void schemeChanged() {}

private:
    QString m_rightLabel;
};

// A thin track with a filled stretch on it, from `start` to `start + length` of its width (0 to 1).
class ResultsShareBar : public QWidget {
    Q_OBJECT
public:
    ResultsShareBar(double start, double length, const QColor& color, QWidget* parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double m_start = 0;
    double m_length = 0;
    QColor m_color;
};

// A coloured dot and its word, as one entry of a legend.
class ResultsLegendEntry : public QWidget {
    Q_OBJECT
public:
    ResultsLegendEntry(const QString& text, const QColor& color, QWidget* parent = nullptr);
    QString text() const;

private:
    QLabel* m_text = nullptr;
};
