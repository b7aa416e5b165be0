// figures.h - the figures that the driver has to reach, and the table around them.

#ifndef BENCHMARKS_FIGURES_H
#define BENCHMARKS_FIGURES_H

#include "measurements.h"

/// One row of the table. A row without limits only tells.
struct Row {
    enum Limits { None, AtMost, AtLeast };

    QString what;
    QString measured; ///< as the table shows it
    double value = 0;
    Limits limits = None;
    double must = 0;
    double aim = 0;

    /// "aim", "must" or "NOT REACHED"; empty without limits.
    QString reached() const;
};

struct Group {
    QString title;
    QVector<Row> rows;
};

class Report
{
public:
    explicit Report(const Measurements &measured);

    bool allReached() const; ///< all that must be
    QString table() const;
    QString json() const;

private:
    const Measurements &m_measured;
    QVector<Group> m_groups; ///< the first one holds the figures to reach
};

#endif
