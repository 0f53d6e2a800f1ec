// The one drawing of a graph: paints a plot model into any rectangle of any QPainter, so that
// widgets, PNG images, SVG and PDF files and the printer all show the same picture.
#pragma once

#include <QFontMetrics>
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

// The frame of the graph within `rect` as paintGraph draws it with the font of `metrics`: a line
// for the title above, two for the bounds and the axis text below.  The value axis runs from
// `Vmin` at its left to `Vmax` at its right, the column from `top` at its top to `bottom`.
QRect graphFrame(const QRect& rect, const QFontMetrics& metrics);

}  // namespace cx::plot
