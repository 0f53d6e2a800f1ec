// The figure of the main form: the graphs of one state of the column side by side under a title
// line (setup, iteration, model time), painted into any QPainter and written to PNG, SVG or PDF.
// The command line's `cumulex plot` and the desktop program's exports both come through here.
#pragma once

#include <QFont>
#include <QPainter>
#include <QRect>
#include <QSize>
#include <QString>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "column/column.h"
#include "plotmodel/plot_model.h"

namespace cx::plot {

// The graph's own title: the property, with the oxide or trace element it shows.
QString graphTitle(const plotmodel::GraphRequest& request);

// "name    Iteration N    Model time X days    20 nodes of 5 m, top up" (years above one year).
QString figureTitle(const Column& column, const QString& setupName);

// The font of a figure drawn into `rect`: it grows with the picture, so that large pictures
// stay legible.
QFont figureFont(const QRect& rect);

// Where each of `graphs` graphs stands within `rect`: a title line, then the graphs side by side.
std::vector<QRect> figureGraphRects(const QRect& rect, int graphs);

// Paints the title line and the graphs of `requests` (one to four) side by side.
void paintFigure(QPainter& painter, const QRect& rect, const Column& column,
                 const std::vector<plotmodel::GraphRequest>& requests, const QString& title);

enum class ImageFormat { Png, Svg, Pdf };

// The format a file name asks for by its extension (any case), if it is one of ours.
std::optional<ImageFormat> imageFormatOf(const std::filesystem::path& file);
const char* extensionOf(ImageFormat format);

// Writes the figure to `file` as `format`, `size` pixels (points for PDF).  Returns an empty
// string on success, or what went wrong.  Needs a QGuiApplication.
std::string writeFigure(const std::filesystem::path& file, ImageFormat format, QSize size,
                        const Column& column, const std::vector<plotmodel::GraphRequest>& requests,
                        const QString& title);

}  // namespace cx::plot
