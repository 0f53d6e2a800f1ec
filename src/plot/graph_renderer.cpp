#include "plot/graph_renderer.h"

#include <QFontMetrics>
#include <QPolygonF>
#include <algorithm>
#include <array>

namespace cx::plot {
namespace {

QString boundText(double v, plotmodel::BoundFormat format) {
  return format == plotmodel::BoundFormat::Scientific ? QString::number(v, 'E', 2)
                                                      : QString::number(v, 'f', 2);
}

// Distinct colours for the curves of phases, endmembers and gas components.
const std::array<QColor, 10> kCurveColours = {
    QColor(0, 0, 0),     QColor(200, 0, 0),   QColor(0, 0, 200),   QColor(0, 140, 0),
    QColor(200, 120, 0), QColor(140, 0, 160), QColor(0, 150, 150), QColor(120, 80, 40),
    QColor(230, 0, 160), QColor(90, 90, 90)};

}  // namespace

QRect graphFrame(const QRect& rect, const QFontMetrics& metrics) {
  // A line for the title above, two for the bounds and the axis text below.
  const int line = metrics.height();
  return QRect(rect.left() + 4, rect.top() + line + 2, rect.width() - 8,
               rect.height() - 3 * line - 6);
}

void paintGraph(QPainter& painter, const QRect& rect, const plotmodel::GraphModel& model,
                const QString& title) {
  painter.save();
  painter.fillRect(rect, Qt::white);
  const QFontMetrics fm = painter.fontMetrics();
  const int line = fm.height();
  painter.setPen(Qt::black);
  painter.drawText(QRect(rect.left(), rect.top(), rect.width(), line), Qt::AlignHCenter, title);
  const QRect frame = graphFrame(rect, fm);
  painter.drawRect(frame);
  if (!model.drawn) {
    painter.drawText(frame.adjusted(4, 4, -4, -4), Qt::AlignCenter | Qt::TextWordWrap,
                     QString::fromStdString(model.note));
    painter.restore();
    return;
  }
  const double span = model.Vmax - model.Vmin;
  const double height = model.top - model.bottom;
  auto px = [&](double v) {
    return frame.left() + (span != 0.0 ? (v - model.Vmin) / span : 0.5) * frame.width();
  };
  auto py = [&](double h) {
    return frame.bottom() - (height != 0.0 ? (h - model.bottom) / height : 0.5) * frame.height();
  };
  const double dx = model.bottom;  // DeltaX: node i stands at i * DeltaX
  const int nodes =
      static_cast<int>(model.multiCurve ? (model.curves.empty() ? 0 : model.curves[0].values.size())
                                        : model.Yvec.size());

  // Bounds and axis text under the frame.
  const int textTop = frame.bottom() + 2;
  painter.drawText(QRect(frame.left(), textTop, frame.width(), line), Qt::AlignLeft,
                   boundText(model.Vmin, model.minFormat));
  painter.drawText(QRect(frame.left(), textTop, frame.width(), line), Qt::AlignRight,
                   boundText(model.Vmax, model.maxFormat));
  painter.drawText(QRect(frame.left(), textTop + line, frame.width(), line), Qt::AlignHCenter,
                   QString::fromStdString(model.axisText));

  painter.setClipRect(frame);
  if (model.pileTopLine) {
    painter.setPen(QColor(0, 0, 255));
    painter.drawLine(QPointF(frame.left(), py(model.pileTopHeight)),
                     QPointF(frame.right(), py(model.pileTopHeight)));
  }
  if (model.lastAdditionLine) {
    painter.setPen(QPen(QColor(0, 0, 255), 1, Qt::DashLine));
    painter.drawLine(QPointF(frame.left(), py(model.lastAdditionHeight)),
                     QPointF(frame.right(), py(model.lastAdditionHeight)));
  }
  painter.setPen(QColor(0, 125, 0));
  for (int i = 1; i <= nodes; i += model.tickEvery)
    painter.drawLine(QPointF(frame.left(), py(i * dx)), QPointF(frame.left() + 5, py(i * dx)));

  painter.setRenderHint(QPainter::Antialiasing, true);
  auto curve = [&](const std::vector<float>& values) {
    QPolygonF poly;
    for (std::size_t i = 0; i < values.size(); ++i)
      poly << QPointF(px(values[i]), py(static_cast<double>(i + 1) * dx));
    painter.drawPolyline(poly);
  };
  if (model.multiCurve) {
    // The names stand at the frame's upper right, as wide as the longest needs.
    int legendWidth = 0;
    for (const auto& c : model.curves)
      legendWidth = std::max(legendWidth, fm.horizontalAdvance(QString::fromStdString(c.name)));
    const double legendLeft = frame.right() - 4 - std::min(legendWidth, frame.width() - 8);
    for (std::size_t k = 0; k < model.curves.size(); ++k) {
      painter.setPen(QPen(kCurveColours[k % kCurveColours.size()], 1.5));
      curve(model.curves[k].values);
    }
    // The names over the curves, on a veil that keeps them legible where curves pass.
    if (!model.curves.empty())
      painter.fillRect(QRectF(legendLeft - 2, frame.top() + 2, legendWidth + 4,
                              line * static_cast<double>(model.curves.size()) + fm.descent() + 1),
                       QColor(255, 255, 255, 200));
    for (std::size_t k = 0; k < model.curves.size(); ++k) {
      painter.setPen(kCurveColours[k % kCurveColours.size()]);
      painter.drawText(QPointF(legendLeft, frame.top() + line * static_cast<double>(k + 1)),
                       QString::fromStdString(model.curves[k].name));
    }
  } else {
    painter.setPen(QPen(QColor(255, 0, 0), 1.5));
    curve(model.Y0vec);
    painter.setPen(QPen(Qt::black, 1.5));
    curve(model.Yvec);
  }
  painter.restore();
}

}  // namespace cx::plot
