// `cumulex plot` on a real run folder: the pictures it writes, and the arguments it refuses with
// exit code 2 and a message that names them.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <memory>

namespace {

struct Result {
  int code = -1;
  QString out, err;
};

Result cumulex(const QStringList& args) {
  QProcess p;
  p.start(CUMULEX_CLI, args);
  p.waitForFinished(600000);
  return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
          QString::fromUtf8(p.readAllStandardOutput()),
          QString::fromUtf8(p.readAllStandardError())};
}

// One run of the default column, two iterations after the initial state, shared by the tests.
class PlotCommand : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = std::make_unique<QTemporaryDir>();
    const Result r = cumulex({"run", "--dir", run(), "--iterations", "2"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
  }
  static void TearDownTestSuite() { dir_.reset(); }
  static QString run() { return dir_->filePath("run"); }
  static QString path(const QString& name) { return dir_->filePath(name); }

  static std::unique_ptr<QTemporaryDir> dir_;
};
std::unique_ptr<QTemporaryDir> PlotCommand::dir_;

TEST_F(PlotCommand, WritesTheLastIterationAndEveryIterationAsAFilm) {
  const Result r = cumulex({"plot", run(), "--out", path("last.png"), "--size", "1000x600"});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  EXPECT_TRUE(r.out.contains("(iteration 2)")) << r.out.toStdString();
  QImage image;
  ASSERT_TRUE(image.load(path("last.png"), "PNG"));
  EXPECT_EQ(image.size(), QSize(1000, 600));

  const Result svg =
      cumulex({"plot", run(), "--iteration", "1", "--graphs", "Temperature, Density - Liquid",
               "--oxide", "sio2", "--out", path("one.svg")});
  ASSERT_EQ(svg.code, 0) << svg.err.toStdString();
  QFile f(path("one.svg"));
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  const QString text = QString::fromUtf8(f.readAll());
  EXPECT_TRUE(text.contains("Iteration 1    Model time")) << "the title line";
  EXPECT_TRUE(text.contains("run [CXsetup.cxd]"));
  EXPECT_TRUE(text.contains("g/cm3"));
  EXPECT_FALSE(text.contains("Liquid Fraction"));  // only the two graphs asked for

  const Result film = cumulex({"plot", run(), "--all-iterations", "--out", path("film"), "--format",
                               "pdf", "--size", "800x500"});
  ASSERT_EQ(film.code, 0) << film.err.toStdString();
  EXPECT_EQ(QDir(path("film")).entryList(QDir::Files),
            QStringList({"iteration-00000.pdf", "iteration-00001.pdf", "iteration-00002.pdf"}));
}

TEST_F(PlotCommand, BadArgumentsAreNamedWithExitCode2) {
  struct Case {
    QStringList args;
    const char* named;
  };
  const QString out = path("bad.png");
  const std::vector<Case> cases = {
      {{"--iteration", "7", "--out", out}, "its iterations are 0-2"},
      {{"--graphs", "Temprature", "--out", out}, "--graphs: 'Temprature'"},
      {{"--graphs", "Temperature,Pressure,Pressure,Pressure,Pressure", "--out", out},
       "one to four"},
      {{"--oxide", "MgX", "--out", out}, "--oxide: 'MgX'"},
      {{"--trace", "Qq", "--out", out}, "--trace: 'Qq'"},
      {{"--bounds", "1=900", "--out", out}, "--bounds takes GRAPH=LOWER:UPPER"},
      {{"--bounds", "5=1:2", "--out", out}, "the graph number must be 1 to 4"},
      {{"--out", path("bad.jpg")}, "--out must name a .png, .svg or .pdf file"},
      {{"--size", "10x10", "--out", out}, "--size"},
      {{"--all-iterations", "--format", "gif", "--out", path("f")}, "--format takes png"},
      {{"--iteration", "x", "--out", out}, "--iteration"},
  };
  for (const auto& c : cases) {
    const Result r = cumulex(QStringList({"plot", run()}) + c.args);
    EXPECT_EQ(r.code, 2) << c.args.join(' ').toStdString();
    EXPECT_TRUE(r.err.contains(c.named))
        << c.args.join(' ').toStdString() << ": " << r.err.toStdString();
  }
  EXPECT_FALSE(QFile::exists(out));
  // A folder without an output file names the file it looked for.
  const Result none = cumulex({"plot", path("nowhere"), "--out", out});
  EXPECT_EQ(none.code, 2);
  EXPECT_TRUE(none.err.contains("CXoutput.txt")) << none.err.toStdString();
}

}  // namespace
