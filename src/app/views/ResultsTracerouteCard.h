#pragma once

#include "ResultsChartCard.h"
#include "screens/ResultsTracerouteChart.h"

// The traceroute card of the results grid: the hop count and whether the path held, then the waterfall
// of the last route's hops, or word that it carries no hop detail.
class ResultsTracerouteCard : public ResultsChartCard {
    Q_OBJECT
public:
    explicit ResultsTracerouteCard(const ResultsTracerouteChart::Model& model, QWidget* parent = nullptr);

    const ResultsTracerouteChart::Model& model() const { return m_model; }

private:
    ResultsTracerouteChart::Model m_model;
};
