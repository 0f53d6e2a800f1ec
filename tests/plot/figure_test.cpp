// The figure of the four graphs written to PNG, SVG and PDF files: checked by size, by what each
// graph's frame holds and by the texts and headers of the files, never against a stored picture.
#include "plot/figure.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QFontMetrics>
#include <QImage>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <cmath>

#include "plot/graph_renderer.h"

namespace cx::plot {
namespace {

// A 60-node column cooling from the top, with a crystal pile at the base.
Column coolingColumn() {
  Column c;
  c.NumNodes = 60;
  c.DeltaX = 50.0;
  c.DimensionArrays(Settings{});
  c.PhaseOrder(1) = 1;
  c.PhaseOrder(2) = 5;
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.Temp(i) = 1473.15 - 3.0 * i;
    c.InitT(i) = 1473.15;
    c.FLiq(i) = 0.3 + 0.01 * i;
    c.LiqOx(i, 8) = 9.0 - 0.05 * i;
    c.PhaseMass(i, 1) = 40.0 - 0.5 * i;
    c.PhaseMass(i, 2) = 10.0 + 0.2 * i;
  }
  c.TopNode = 12;
  c.Iteration = 42;
  c.TotalTime = 3.0 * kSecondsPerYear;
  return c;
}

std::vector<plotmodel::GraphRequest> fourGraphs() {
  std::vector<plotmodel::GraphRequest> r(4);
  r[0].property = "Temperature";
  r[1].property = "Liquid Fraction";
  r[2].property = "Mass - Phases";
  r[3].property = "Oxide wt % - Liquid";
  r[3].oxide = 8;
  return r;
}

QByteArray readAll(const QString& file) {
  QFile f(file);
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

TEST(Figure, TitlesNameTheStateAndTheChosenOxideOrElement) {
  const Column c = coolingColumn();
  EXPECT_EQ(
      figureTitle(c, "run [CXsetup.cxd]"),
      QString("run [CXsetup.cxd]    Iteration 42    Model time 3.0000 years    60 nodes of 0.5 m, "
              "top up"));
  Column young = c;
  young.TotalTime = 1.5 * kSecondsPerDay;
  EXPECT_EQ(figureTitle(young, "x"),
            QString("x    Iteration 42    Model time 1.5000 days    60 nodes of 0.5 m, top up"));
  plotmodel::GraphRequest r;
  r.property = "Oxide wt % - Bulk";
  r.oxide = 1;
  EXPECT_EQ(graphTitle(r), QString("Oxide wt % - Bulk: SiO2"));
  r.property = "Bulk Dcoef";
  r.trace = 1;
  EXPECT_EQ(graphTitle(r), "Bulk Dcoef: " + QString::fromUtf8(std::string(TraceNames[1]).c_str()));
  r.property = "Temperature";
  EXPECT_EQ(graphTitle(r), QString("Temperature"));
}

TEST(Figure, FormatsComeFromTheExtension) {
  EXPECT_EQ(imageFormatOf("a/b.png"), ImageFormat::Png);
  EXPECT_EQ(imageFormatOf("B.SVG"), ImageFormat::Svg);
  EXPECT_EQ(imageFormatOf("c.Pdf"), ImageFormat::Pdf);
  EXPECT_EQ(imageFormatOf("c.jpg"), std::nullopt);
  EXPECT_EQ(imageFormatOf("png"), std::nullopt);
}

TEST(Figure, GraphsStandSideBySideBelowTheTitle) {
  const QRect area(0, 0, 1600, 900);
  const auto rects = figureGraphRects(area, 4);
  ASSERT_EQ(rects.size(), 4u);
  const int titleHeight = QFontMetrics(figureFont(area)).height();
  for (std::size_t k = 0; k < 4; ++k) {
    EXPECT_TRUE(area.contains(rects[k])) << k;
    EXPECT_GE(rects[k].top(), titleHeight);  // below the title line
    EXPECT_EQ(rects[k].top(), rects[0].top());
    EXPECT_EQ(rects[k].size(), rects[0].size());
    if (k > 0) {
      EXPECT_GT(rects[k].left(), rects[k - 1].right());  // no overlap, left to right
    }
  }
  EXPECT_GT(rects[0].width(), 1600 / 4 - 20);
}

// Each graph's frame, inside its border and right of the node ticks: the pixels that are not
// white, the rows that hold any, and the red pixels.
struct FrameCount {
  int marked = 0, rows = 0, red = 0;
};
FrameCount countFrame(const QImage& image, const QRect& frame) {
  FrameCount n;
  for (int y = frame.top() + 2; y < frame.bottom() - 2; ++y) {
    bool row = false;
    for (int x = frame.left() + 8; x < frame.right() - 2; ++x) {
      const QRgb p = image.pixel(x, y);
      if (p != qRgb(255, 255, 255)) {
        ++n.marked;
        row = true;
      }
      if (qRed(p) > 200 && qGreen(p) < 80 && qBlue(p) < 80) ++n.red;
    }
    if (row) ++n.rows;
  }
  return n;
}

TEST(Figure, PngHasItsSizeAndEveryGraphFrameHoldsItsCurves) {
  QTemporaryDir dir;
  const QString file = dir.filePath("column.png");
  const QSize size(1200, 700);
  ASSERT_EQ(writeFigure(file.toStdString(), ImageFormat::Png, size, coolingColumn(), fourGraphs(),
                        "column"),
            "");
  QImage image;
  ASSERT_TRUE(image.load(file, "PNG"));
  EXPECT_EQ(image.size(), size);
  const QRect area(QPoint(0, 0), size);
  const auto rects = figureGraphRects(area, 4);
  const QFontMetrics metrics(figureFont(area));
  for (std::size_t k = 0; k < 4; ++k) {
    const QRect frame = graphFrame(rects[k], metrics);
    const FrameCount n = countFrame(image, frame);
    // A curve runs through the column from its base to its top: it marks nearly every row.
    EXPECT_GT(n.rows, (frame.height() - 4) * 9 / 10) << k;
  }
  // The temperature graph draws its initial profile in red; the liquid fraction graph also
  // (its initial fractions are zero, at the left edge).
  EXPECT_GT(countFrame(image, graphFrame(rects[0], metrics)).red, 50);

  // The same graphs of a single-node column draw no curve: the frames hold only their note.
  Column single = coolingColumn();
  single.NumNodes = 1;
  const QString empty = dir.filePath("single.png");
  ASSERT_EQ(writeFigure(empty.toStdString(), ImageFormat::Png, size, single, fourGraphs(), "one"),
            "");
  ASSERT_TRUE(image.load(empty, "PNG"));
  for (std::size_t k = 0; k < 4; ++k) {
    const FrameCount n = countFrame(image, graphFrame(rects[k], metrics));
    EXPECT_EQ(n.red, 0) << k;
    EXPECT_LT(n.rows, graphFrame(rects[k], metrics).height() / 4) << k;  // a line or two of note
  }
}

TEST(Figure, SvgHoldsTheTitlesAndAxisTexts) {
  QTemporaryDir dir;
  const QString file = dir.filePath("column.svg");
  ASSERT_EQ(writeFigure(file.toStdString(), ImageFormat::Svg, QSize(1600, 900), coolingColumn(),
                        fourGraphs(), figureTitle(coolingColumn(), "basalt [CXsetup.cxd]")),
            "");
  const QString svg = QString::fromUtf8(readAll(file));
  EXPECT_TRUE(svg.startsWith("<?xml"));
  EXPECT_TRUE(svg.contains("width=\"1600\""));
  for (const char* text :
       {"°C", "Liquid Fraction", "Mass - Phases", "Oxide wt % - Liquid: MgO",
        "basalt [CXsetup.cxd]    Iteration 42    Model time 3.0000 years    60 nodes of 0.5 m"})
    EXPECT_TRUE(svg.contains(QString::fromUtf8(text).toHtmlEscaped())) << text;
  // The phases' names are listed beside their curves.
  EXPECT_TRUE(svg.contains(QString::fromUtf8(std::string(PhaseNames[1]).c_str())));
}

TEST(Figure, PdfIsOnePageOfThePictureSize) {
  QTemporaryDir dir;
  const QString file = dir.filePath("column.pdf");
  ASSERT_EQ(writeFigure(file.toStdString(), ImageFormat::Pdf, QSize(1600, 900), coolingColumn(),
                        fourGraphs(), "pdf"),
            "");
  const QByteArray pdf = readAll(file);
  EXPECT_TRUE(pdf.startsWith("%PDF-1."));
  EXPECT_TRUE(pdf.trimmed().endsWith("%%EOF"));
  EXPECT_EQ(pdf.count("/Type /Page\n") + pdf.count("/Type /Page\r") + pdf.count("/Type /Page "), 1);
  // The page is the picture's size in points.
  EXPECT_TRUE(QString::fromLatin1(pdf).contains(
      QRegularExpression(R"(/MediaBox \[0 0 1600(\.0+)? 900(\.0+)?\])")));
}

TEST(Figure, AFileThatCannotBeWrittenIsNamed) {
  QTemporaryDir dir;
  const std::string file = dir.filePath("no-such-folder/column.png").toStdString();
  const std::string problem =
      writeFigure(file, ImageFormat::Png, QSize(400, 300), coolingColumn(), fourGraphs(), "x");
  EXPECT_NE(problem.find("cannot write " + file), std::string::npos) << problem;
}

}  // namespace
}  // namespace cx::plot
