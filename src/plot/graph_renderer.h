// The one drawing of a graph: paints a plot model into any rectangle of any QPainter, so that
// widgets, PNG images, SVG and PDF files and the printer all show the same picture.
#pragma once

#include <QPainter>
#include <QRect>
#include <QString>

#include "plotmodel/plot_model.h"

namespace cx::plot {

// Paints `model` (white background, frame, value axis with its bounds and text, the pile-top and
// last-addition lines, node ticks, the red initial curve and the black present one, or the named
// curves of a multi-curve graph) into `rect`, with `title` above the frame.  A model that is not
// drawn shows its note instead.
void paintGraph(QPainter& painter, const QRect& rect, const plotmodel::GraphModel& model,
                const QString& title);

}  // namespace cx::plot
