#include "plot/figure.h"

#include <QBuffer>
#include <QFile>
#include <QFontMetrics>
#include <QImage>
#include <QPageSize>
#include <QPdfWriter>
#include <algorithm>
#include <cctype>

#include "base/text_format.h"
#include "column/names.h"
#include "plot/graph_renderer.h"

#ifdef CUMULEX_PLOT_HAVE_SVG
#include <QSvgGenerator>
#endif

namespace cx::plot {
namespace {

QString fromView(std::string_view s) {
  return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

bool startsWith(const std::string& s, std::string_view prefix) {
  return s.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

QString graphTitle(const plotmodel::GraphRequest& request) {
  const QString property = QString::fromStdString(request.property);
  if (startsWith(request.property, "Oxide wt %"))
    return property + ": " + fromView(OxideNames[std::clamp(request.oxide, 1, kOxides)]);
  if (startsWith(request.property, "Trace - ") || request.property == "Bulk Dcoef")
    return property + ": " + fromView(TraceNames[std::clamp(request.trace, 1, kTraces)]);
  return property;
}

QString figureTitle(const Column& column, const QString& setupName) {
  const bool years = column.TotalTime > kSecondsPerYear;
  const double time = column.TotalTime / (years ? kSecondsPerYear : kSecondsPerDay);
  // The graphs have no height scale of their own: the title says how the column is cut.
  return setupName + "    Iteration " + QString::number(column.Iteration) + "    Model time " +
         QString::fromStdString(formatNumber(time, "0.0000")) + (years ? " years" : " days") +
         "    " + QString::number(column.NumNodes) + " nodes of " +
         QString::fromStdString(formatNumber(column.DeltaX / 100.0, "General Number")) +
         " m, top up";
}

QFont figureFont(const QRect& rect) {
  QFont font;
  font.setPixelSize(std::max(10, std::min(rect.height() / 60, rect.width() / 80)));
  return font;
}

std::vector<QRect> figureGraphRects(const QRect& rect, int graphs) {
  std::vector<QRect> out;
  if (graphs <= 0) return out;
  const int titleHeight = QFontMetrics(figureFont(rect)).height() * 2;
  const int gap = 8;
  const int top = rect.top() + titleHeight;
  const int height = rect.height() - titleHeight;
  const int width = (rect.width() - gap * (graphs + 1)) / graphs;
  for (int k = 0; k < graphs; ++k)
    out.emplace_back(rect.left() + gap + k * (width + gap), top, width, height - gap);
  return out;
}

void paintFigure(QPainter& painter, const QRect& rect, const Column& column,
                 const std::vector<plotmodel::GraphRequest>& requests, const QString& title) {
  painter.save();
  const QFont font = figureFont(rect);
  painter.setFont(font);
  painter.fillRect(rect, Qt::white);
  const int titleHeight = QFontMetrics(font).height() * 2;
  QFont bold = font;
  bold.setBold(true);
  painter.setFont(bold);
  painter.setPen(Qt::black);
  painter.drawText(QRect(rect.left() + 8, rect.top(), rect.width() - 16, titleHeight),
                   Qt::AlignLeft | Qt::AlignVCenter, title);
  painter.setFont(font);
  const auto rects = figureGraphRects(rect, static_cast<int>(requests.size()));
  for (std::size_t k = 0; k < requests.size(); ++k)
    paintGraph(painter, rects[k], plotmodel::buildGraphModel(column, requests[k]),
               graphTitle(requests[k]));
  painter.restore();
}

std::optional<ImageFormat> imageFormatOf(const std::filesystem::path& file) {
  std::string ext = file.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char ch) { return static_cast<char>(std::tolower(ch)); });
  if (ext == ".png") return ImageFormat::Png;
  if (ext == ".svg") return ImageFormat::Svg;
  if (ext == ".pdf") return ImageFormat::Pdf;
  return std::nullopt;
}

const char* extensionOf(ImageFormat format) {
  switch (format) {
    case ImageFormat::Png:
      return ".png";
    case ImageFormat::Svg:
      return ".svg";
    case ImageFormat::Pdf:
      return ".pdf";
  }
  return "";
}

std::string writeFigure(const std::filesystem::path& file, ImageFormat format, QSize size,
                        const Column& column, const std::vector<plotmodel::GraphRequest>& requests,
                        const QString& title) {
  // The picture is made in memory first, so that a file that cannot be written is reported
  // as such and a failed drawing leaves no half-written file.
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  const QRect area(QPoint(0, 0), size);
  switch (format) {
    case ImageFormat::Png: {
      QImage image(size, QImage::Format_RGB32);
      image.fill(Qt::white);
      {
        QPainter painter(&image);
        paintFigure(painter, area, column, requests, title);
      }
      // Light compression: graphs are mostly white, so the file stays small (about 100 kB at
      // 1600x900), and it is encoded a quarter faster than at the default level.
      if (!image.save(&buffer, "PNG", 80)) return "the PNG image could not be encoded";
      break;
    }
    case ImageFormat::Svg: {
#ifdef CUMULEX_PLOT_HAVE_SVG
      QSvgGenerator generator;
      generator.setOutputDevice(&buffer);
      generator.setSize(size);
      generator.setViewBox(area);
      generator.setTitle(title);
      QPainter painter;
      if (!painter.begin(&generator)) return "the SVG picture could not be started";
      paintFigure(painter, area, column, requests, title);
      painter.end();
      break;
#else
      return "this build has no SVG output (Qt SVG was not found); use .png or .pdf";
#endif
    }
    case ImageFormat::Pdf: {
      QPdfWriter writer(&buffer);
      // One page the size of the picture, in points, with no margins.
      writer.setPageSize(QPageSize(QSizeF(size), QPageSize::Point));
      writer.setPageMargins(QMarginsF(0, 0, 0, 0));
      writer.setResolution(72);
      writer.setTitle(title);
      writer.setCreator("Cumulex");
      QPainter painter;
      if (!painter.begin(&writer)) return "the PDF document could not be started";
      paintFigure(painter, QRect(0, 0, writer.width(), writer.height()), column, requests, title);
      painter.end();
      break;
    }
  }
  buffer.close();
  QFile out(QString::fromStdString(file.string()));
  if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
    return "cannot write " + file.string() + ": " + out.errorString().toStdString();
  if (out.write(bytes) != bytes.size() || !out.flush())
    return "cannot write " + file.string() + ": " + out.errorString().toStdString();
  return {};
}

}  // namespace cx::plot
