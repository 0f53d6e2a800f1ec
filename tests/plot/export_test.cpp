// The renderer onto images, SVG and PDF: checked by structure and content, never against a
// stored picture.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QPdfWriter>
#include <QSvgGenerator>

#include "plot/graph_renderer.h"

namespace cx::plot {
namespace {

Column sampleColumn() {
  Column c;
  c.NumNodes = 40;
  c.DeltaX = 1.0;
  c.DimensionArrays(Settings{});
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.Temp(i) = 1500.0 - 5.0 * i;
    c.InitT(i) = 1473.15;
    c.FLiq(i) = 0.02 * i;
    c.LiqOx(i, 8) = 8.0 - 0.1 * i;
    c.PhaseOrder(1) = 1;
    c.PhaseMass(i, 1) = 50.0 - i;
  }
  c.TopNode = 10;
  return c;
}

const std::array<const char*, 4> kGraphs = {"Temperature", "Liquid Fraction", "Mass - Phases",
                                            "Oxide wt % - Liquid"};

void paintFour(QPainter& painter, int width, int height) {
  const Column c = sampleColumn();
  for (int k = 0; k < 4; ++k) {
    plotmodel::GraphRequest r;
    r.property = kGraphs[static_cast<std::size_t>(k)];
    paintGraph(painter, QRect(k * width / 4, 0, width / 4, height),
               plotmodel::buildGraphModel(c, r), QString::fromLatin1(r.property.c_str()));
  }
}

TEST(PlotExport, PngHasItsSizeAndEachFrameHoldsCurves) {
  QImage image(800, 400, QImage::Format_RGB32);
  image.fill(Qt::white);
  {
    QPainter painter(&image);
    paintFour(painter, 800, 400);
  }
  EXPECT_EQ(image.size(), QSize(800, 400));
  for (int k = 0; k < 4; ++k) {
    // Inside the frame, away from its border and the title: curve pixels that are not white.
    int marked = 0;
    for (int x = k * 200 + 10; x < (k + 1) * 200 - 10; ++x)
      for (int y = 40; y < 330; ++y)
        if (image.pixel(x, y) != qRgb(255, 255, 255)) ++marked;
    EXPECT_GT(marked, 50) << kGraphs[static_cast<std::size_t>(k)];
  }
}

TEST(PlotExport, SvgHoldsTheAxisTextsAndPdfHasItsHeader) {
  QBuffer svg;
  QSvgGenerator generator;
  generator.setOutputDevice(&svg);
  generator.setSize(QSize(800, 400));
  {
    QPainter painter(&generator);
    paintFour(painter, 800, 400);
  }
  const QString text = QString::fromUtf8(svg.data());
  EXPECT_TRUE(text.contains(QString::fromUtf8("°C")));
  EXPECT_TRUE(text.contains("Liquid Fraction"));

  QBuffer pdf;
  pdf.open(QIODevice::WriteOnly);
  {
    QPdfWriter writer(&pdf);
    QPainter painter(&writer);
    paintFour(painter, writer.width(), writer.height());
  }
  EXPECT_TRUE(pdf.data().startsWith("%PDF-"));
}

}  // namespace
}  // namespace cx::plot

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QGuiApplication app(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
