// The desktop program on the offscreen platform: a whole session of a petrologist (the initial
// state, a run, a halt, a reload, the film), checked against the files the run writes and
// against the command line; the rules of the two phase dialogs; the progress display.
#include <QCheckBox>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <filesystem>

#include "base/text_format.h"
#include "column/phase_options.h"
#include "persist/files.h"
#include "persist/output_file.h"
#include "ui/desktop/graph_panel.h"
#include "ui/desktop/main_window.h"
#include "ui/desktop/phase_dialogs.h"
#include "ui/desktop/progress_panel.h"

using namespace cx;
using namespace cx::desktop;
namespace fs = std::filesystem;

namespace {

std::string fileText(const fs::path& p) {
  auto t = readWholeFile(p);
  return t ? *t : std::string();
}

// Waits for the job of the window to end (the worker thread has finished and the window is idle).
bool waitForJob(MainWindow& w, int seconds = 120) {
  QSignalSpy spy(&w, &MainWindow::jobFinished);
  if (!w.busy()) return true;
  return spy.wait(seconds * 1000);
}

struct Session {
  QTemporaryDir dir;
  std::unique_ptr<MainWindow> window;
  QStringList questions, messages;
  bool answer = false;

  Session() {
    WindowOptions o;
    o.folder = dir.path().toStdString();
    o.dialogs = false;
    o.rememberSettings = false;
    window = std::make_unique<MainWindow>(o);
    window->setAsker([this](const QString& q) {
      questions << q;
      return answer;
    });
    window->setTeller([this](const QString& m) { messages << m; });
    window->setFilmPause(0);
  }
  fs::path folder() const { return window->folder(); }
  std::string output() const { return fileText(folder() / "CXoutput.txt"); }
};

}  // namespace

class TestDesktop : public QObject {
  Q_OBJECT

 private slots:
  void sessionOfThePetrologist();
  void sameOutputAsTheCommandLine();
  void closingDuringARunHaltsItFirst();
  void badSetupFileChangesNothing();
  void exclusionsStayExclusive();
  void activityOptions();
  void progressDisplay();
};

void TestDesktop::sessionOfThePetrologist() {
  Session s;
  MainWindow& w = *s.window;
  QVERIFY(fs::exists(s.folder() / "CXsetup.cxd"));  // the default column, written on start-up
  QCOMPARE(w.windowTitle(), QString(" CUmulex [CXsetup.cxd]"));
  QCOMPARE(w.command("CmdStart")->text(), QString("&Start"));
  QVERIFY(!w.command("cmdHalt")->isEnabled());

  // The initial state alone: iteration 0 only.
  w.command("cmdFindInitial")->trigger();
  QVERIFY(w.busy());
  QVERIFY(!w.command("CmdStart")->isEnabled());
  QVERIFY(!w.command("mnuOpen")->isEnabled());
  QVERIFY(w.command("cmdHalt")->isEnabled());
  QVERIFY(waitForJob(w));
  QCOMPARE(listIterations(s.output()), std::vector<int>({0}));
  // The run's own closing empties the status text after a run that was not halted.
  QCOMPARE(w.statusText(), QString());
  QCOMPARE(w.moduleText(), QString("Idle"));

  // Three iterations, with a snapshot asked for while the second goes: it is written at the
  // end of the iteration in hand when the run took the request, once.
  w.setIterationLimit(3);
  bool snapshotAsked = false;
  // The user's click, made while the run is at a turn of iteration 2.
  w.port().setTurnObserver([&](int iteration) {
    if (snapshotAsked || iteration != 2) return;
    snapshotAsked = true;
    QMetaObject::invokeMethod(
        &w,
        [&] {
          s.answer = true;
          w.command("cmdSnapShot")->trigger();
          s.answer = false;
          QVERIFY(!w.command("cmdSnapShot")->isEnabled());
        },
        Qt::BlockingQueuedConnection);
  });
  w.command("CmdStart")->trigger();
  QVERIFY(waitForJob(w));
  w.port().setTurnObserver({});
  QVERIFY(snapshotAsked);
  QVERIFY(s.questions.contains(
      "Save a snap shot of the state of\n  the system at end end of current iteration?"));
  QVERIFY(fs::exists(s.folder() / "2.tab"));
  QVERIFY(!fs::exists(s.folder() / "1.tab") && !fs::exists(s.folder() / "3.tab"));
  QVERIFY(w.eventsText().contains("Snapshot saved as file: 2.tab"));
  QCOMPARE(listIterations(s.output()), std::vector<int>({0, 1, 2, 3}));
  const Column& c = w.column();
  QCOMPARE(c.Iteration, 3);
  QCOMPARE(w.labelText("lblIteration"), QString("3"));
  QCOMPARE(w.labelText("lblTotalTime").toStdString(),
           formatNumber(c.TotalTime / kSecondsPerDay, "0.0000"));
  QCOMPARE(w.labelText("lblTopNode"), QString::number(c.TopNode));
  QVERIFY(w.command("CmdStart")->isEnabled());
  // The graphs show the column as the run left it (a copy, not the live column).
  for (int k = 1; k <= 4; ++k) {
    const Column* shown = w.graph(k)->canvas()->column();
    QVERIFY(shown != nullptr && shown != &c);
    QCOMPARE(shown->Iteration, 3);
    for (int i = 1; i <= c.NumNodes; ++i) {
      QCOMPARE(shown->Temp(i), c.Temp(i));
      QCOMPARE(shown->FLiq(i), c.FLiq(i));
    }
  }
  // The curves the graphs draw hold the column's values, node by node: temperatures in °C over
  // the initial ones, the liquid fraction, MgO of the liquid, and one curve per phase present.
  QCOMPARE(w.graph(1)->choice().property, QString("Temperature"));
  QCOMPARE(w.graph(2)->choice().property, QString("Liquid Fraction"));
  QCOMPARE(w.graph(3)->choice().property, QString("Oxide wt % - Liquid"));
  QCOMPARE(w.graph(4)->choice().property, QString("Mass - Phases"));
  const auto near = [](double a, double b) {
    return std::abs(a - b) <= 1e-5 * (1.0 + std::abs(b));
  };
  const auto& temperature = w.graph(1)->canvas()->model();
  const auto& liquid = w.graph(2)->canvas()->model();
  const auto& mgo = w.graph(3)->canvas()->model();
  const auto& phases = w.graph(4)->canvas()->model();
  QVERIFY(temperature.drawn && liquid.drawn && mgo.drawn && phases.drawn);
  QCOMPARE(temperature.Yvec.size(), std::size_t(c.NumNodes));
  QCOMPARE(QString::fromStdString(temperature.axisText), QString::fromUtf8("°C"));
  for (int i = 1; i <= c.NumNodes; ++i) {
    const auto at = static_cast<std::size_t>(i - 1);
    QVERIFY(near(temperature.Yvec[at], c.Temp(i) - 273.15));
    QVERIFY(near(temperature.Y0vec[at], c.InitT(i) - 273.15));
    QVERIFY(near(liquid.Yvec[at], c.FLiq(i)));
    QVERIFY(near(mgo.Yvec[at], c.LiqOx(i, 8)));
    // Every value lies within the drawn value axis.
    QVERIFY(temperature.Vmin <= temperature.Yvec[at] && temperature.Yvec[at] <= temperature.Vmax);
  }
  for (const auto& curve : phases.curves) {
    int k = 0;  // the phase's place in PhaseOrder, found by its name
    for (int j = 1; j <= kPhaseOrderSize; ++j)
      if (c.PhaseOrder(j) >= 1 &&
          PhaseNames[static_cast<std::size_t>(c.PhaseOrder(j))] == curve.name)
        k = j;
    QVERIFY2(k > 0, curve.name.c_str());
    for (int i = 1; i <= c.NumNodes; ++i)
      QVERIFY(near(curve.values[static_cast<std::size_t>(i - 1)], c.PhaseMass(i, k)));
  }

  // A halt during the fourth iteration, clicked while the run is at a turn of that iteration:
  // the run stops at that turn, and the output file ends on the whole block of iteration 3.
  w.setIterationLimit(-1);
  bool halted = false;
  w.port().setTurnObserver([&](int iteration) {
    if (halted || iteration != 4) return;
    halted = true;
    QMetaObject::invokeMethod(
        &w, [&] { w.command("cmdHalt")->trigger(); }, Qt::BlockingQueuedConnection);
  });
  w.command("CmdStart")->trigger();
  QVERIFY(waitForJob(w));
  w.port().setTurnObserver({});
  QVERIFY(halted);
  const std::string out = s.output();
  QCOMPARE(listIterations(out), std::vector<int>({0, 1, 2, 3}));
  QCOMPARE(lastCompleteIteration(out, "CXoutput.txt", w.column()), 3);
  QVERIFY(out.size() >= 2 && out.substr(out.size() - 2) == "\r\n");
  // The halt discards the iteration it interrupted: the column is the state of the last whole
  // block.
  QCOMPARE(w.column().Iteration, 3);
  QCOMPARE(w.statusText(), QString("Calculation Aborted."));
  QVERIFY(!w.command("CmdStart")->isEnabled());  // after a halt until another command

  // Load iteration 2: the state, the file cut after it, the labels, the start enabled again.
  s.answer = true;
  w.loadIterationField()->setText("2");
  w.command("cmdLoadLastIteration")->trigger();
  QVERIFY(!s.questions.isEmpty());
  QVERIFY(
      s.questions.last().startsWith("Do you wish to load and reset the output file to "
                                    "iteration: 2?"));
  QCOMPARE(w.column().Iteration, 2);
  QCOMPARE(listIterations(s.output()), std::vector<int>({0, 1, 2}));
  QCOMPARE(w.labelText("lblIteration"), QString("2"));
  QCOMPARE(w.statusText(), QString("Requested iteration loaded successfully!"));
  QVERIFY(w.command("CmdStart")->isEnabled());
  QVERIFY(w.eventsText().contains("Loaded iteration: 2"));

  // The film shows every saved iteration in order, each frame a copy handed to the graphs.
  w.command("cmdShowMovie")->trigger();
  QVERIFY(w.busy());
  QVERIFY(!w.command("cmdSnapShot")->isEnabled());
  QVERIFY(waitForJob(w));
  QCOMPARE(w.filmFrames(), QVector<int>({0, 1, 2}));
  QCOMPARE(w.graph(1)->canvas()->column()->Iteration, 2);

  // The graph read-out: the column stands upright, the top of the picture is the top node.
  w.show();
  GraphCanvas* canvas = w.graph(1)->canvas();
  QVERIFY(QTest::qWaitForWindowExposed(&w));
  const QRect frame = canvas->plotFrame();
  QVERIFY(frame.height() > 20 && frame.width() > 20);
  QTest::mouseMove(canvas, QPoint(frame.center().x(), frame.top() + frame.height() / 2));
  QTRY_VERIFY(w.findChild<QLabel*>("lblGraphPointer")->text().startsWith("Node: 10  X: "));
  QTest::mouseMove(canvas, QPoint(frame.center().x(), frame.top()));
  QTRY_VERIFY(w.findChild<QLabel*>("lblGraphPointer")->text().startsWith("Node: 20  X: "));
  // At the frame's left edge the value read is the lower bound of the value axis, and at the
  // top the height is the column's length.
  QTest::mouseMove(canvas, QPoint(frame.left(), frame.top()));
  const auto& shownModel = canvas->model();
  QTRY_COMPARE(w.findChild<QLabel*>("lblGraphPointer")->text(),
               "Node: 20  X: " + QString::fromStdString(formatNumber(shownModel.Vmin, "fixed")) +
                   "  Y: " + QString::fromStdString(formatNumber(shownModel.top, "fixed")));

  // The print painting reaches a PDF file.
  const QString pdf = s.dir.filePath("graphs.pdf");
  QVERIFY(w.exportPdf(pdf));
  QVERIFY(fileText(pdf.toStdString()).rfind("%PDF", 0) == 0);
}

// The command line and the desktop program write the same output file for the same setup and
// iterations, byte for byte.
void TestDesktop::sameOutputAsTheCommandLine() {
  Session s;
  MainWindow& w = *s.window;
  w.setIterationLimit(3);
  w.command("CmdStart")->trigger();
  QVERIFY(waitForJob(w));
  QTemporaryDir cliDir;
  QProcess cli;
  cli.start(CUMULEX_CLI, {"run", "--dir", cliDir.path(), "--iterations", "3"});
  QVERIFY(cli.waitForFinished(120000));
  QCOMPARE(cli.exitCode(), 0);
  const std::string gui = s.output();
  const std::string line = fileText(fs::path(cliDir.path().toStdString()) / "CXoutput.txt");
  QVERIFY(!gui.empty());
  QCOMPARE(listIterations(gui), std::vector<int>({0, 1, 2, 3}));
  QVERIFY2(gui == line, "the two output files differ");
  QCOMPARE(fileText(s.folder() / "CXsetup.cxd"),
           fileText(fs::path(cliDir.path().toStdString()) / "CXsetup.cxd"));
}

// Closing the window while a run goes halts the run at its next turn and closes afterwards: the
// output file keeps whole blocks.
void TestDesktop::closingDuringARunHaltsItFirst() {
  Session s;
  MainWindow& w = *s.window;
  w.show();
  w.command("CmdStart")->trigger();
  QVERIFY(w.busy());
  w.close();
  QVERIFY(w.isVisible());  // still open while the run ends
  QVERIFY(waitForJob(w));
  QVERIFY(!w.isVisible());
  const std::string out = s.output();
  if (!out.empty()) {
    const auto saved = listIterations(out);
    QCOMPARE(lastCompleteIteration(out, "CXoutput.txt", w.column()), saved.back());
  }
}

// A setup file that does not read is refused with a message naming it; the column, the working
// copy and the title stay as they were.
void TestDesktop::badSetupFileChangesNothing() {
  Session s;
  MainWindow& w = *s.window;
  const std::string workingCopy = fileText(s.folder() / "CXsetup.cxd");
  const int nodes = w.column().NumNodes;
  const QString title = w.windowTitle();
  const QString bad = s.dir.filePath("broken.cxd");
  QVERIFY(writeFileAtomically(bad.toStdString(),
                              "Data from reaction-transport program\r\nTrue, "
                              "False\r\nnot a number\r\n"));
  w.openSetupFile(bad);
  QCOMPARE(s.messages.size(), 1);
  QVERIFY(s.messages.first().contains("broken.cxd"));
  QCOMPARE(w.column().NumNodes, nodes);
  QCOMPARE(fileText(s.folder() / "CXsetup.cxd"), workingCopy);
  QCOMPARE(w.windowTitle(), title);
  // A good one opens, names the title and rewrites the working copy.
  const QString good = s.dir.filePath("column.cxd");
  QVERIFY(writeFileAtomically(good.toStdString(), workingCopy));
  w.openSetupFile(good);
  QCOMPARE(s.messages.size(), 1);
  QVERIFY(w.windowTitle().contains("[column.cxd]"));
  QVERIFY(w.command("CmdStart")->isEnabled());
}

void TestDesktop::exclusionsStayExclusive() {
  Session s;
  MainWindow& w = *s.window;
  Column& c = w.column();
  ExcludeDialog& d = w.excludeDialog();
  // Spinel and Mt-Usp both free to precipitate.
  c.PhaseExcluded(7) = false;
  c.PhaseExcluded(13) = false;
  d.refresh();
  QCOMPARE(d.check(7)->text(), QString("Spinel (sp)"));
  QCOMPARE(d.check(13)->text(), QString("Mt-Usp (mt)"));
  QCOMPARE(d.check(38)->text(), QString("Immiscible Liquid (lq2)"));
  // Tick Spinel, then untick it: Mt-Usp, unticked, gets ticked.
  d.show();
  QTest::mouseClick(d.check(7), Qt::LeftButton);
  QVERIFY(c.PhaseExcluded(7));
  QVERIFY(!c.PhaseExcluded(13));
  QTest::mouseClick(d.check(7), Qt::LeftButton);
  QVERIFY(!c.PhaseExcluded(7));
  QVERIFY(c.PhaseExcluded(13));
  QVERIFY(d.check(13)->isChecked());
  // The rhombohedral oxides: unticking Ilmenite ticks Rhomb Oxide and Hem-Ilm.
  c.PhaseExcluded(6) = c.PhaseExcluded(12) = false;
  c.PhaseExcluded(17) = true;
  d.refresh();
  QTest::mouseClick(d.check(17), Qt::LeftButton);
  QVERIFY(!c.PhaseExcluded(17));
  QVERIFY(c.PhaseExcluded(6) && c.PhaseExcluded(12));
  // The two solutions that are never used cannot be clicked.
  QVERIFY(!d.check(8)->isEnabled() && !d.check(9)->isEnabled());
  const bool before = c.PhaseExcluded(8);
  phase_options::excludeClick(c.PhaseExcluded, 8, false);
  QCOMPARE(c.PhaseExcluded(8), before);
  // The options dialog marks excluded phases red, and follows a click at once.
  OptionsDialog& o = w.optionsDialog();
  o.updateDisplay();
  QVERIFY(o.phaseBox(13)->styleSheet().contains("255,0,0"));
  QVERIFY(!o.phaseBox(7)->styleSheet().contains("255,0,0"));
  QTest::mouseClick(d.check(7), Qt::LeftButton);  // tick Spinel: it turns red
  QVERIFY(o.phaseBox(7)->styleSheet().contains("255,0,0"));
  d.hide();
}

void TestDesktop::activityOptions() {
  Session s;
  MainWindow& w = *s.window;
  Column& c = w.column();
  OptionsDialog& o = w.optionsDialog();
  o.updateDisplay();
  QVERIFY(!o.phaseBox(1)->isEnabled());
  QCOMPARE(o.phaseBox(1)->toolTip(),
           QString("This phase uses a fixed activity model: no options."));
  QVERIFY(OptionsDialog::detailsText(2).contains("\n  If unchecked, Plagioclase and Kspar"));
  // The quadrilateral pyroxenes: neither pyroxene is simple; the feldspar box sets both
  // feldspars; Cancel changes nothing, OK applies.
  o.pyroxene(2)->setChecked(true);
  o.phaseBox(2)->setChecked(false);
  o.phaseBox(29)->setChecked(false);
  const Array1<bool> before = c.ActivityFlags;
  o.reject();
  QVERIFY(c.ActivityFlags == before);
  o.pyroxene(2)->setChecked(true);
  o.phaseBox(2)->setChecked(false);
  o.phaseBox(29)->setChecked(false);
  o.accept();
  QCOMPARE(w.settings().PyroxeneModel, 2);
  QVERIFY(!c.ActivityFlags(4) && !c.ActivityFlags(5));
  QVERIFY(!c.ActivityFlags(2) && !c.ActivityFlags(3));
  QVERIFY(!c.ActivityFlags(29));
  QCOMPARE(c.gasSpeciesCount(), 6);
  // Use Default: every box ticked and the simple pyroxenes (simple cpx, fixed opx).
  o.updateDisplay();
  QTest::mouseClick(o.findChild<QPushButton*>("cmdDefault"), Qt::LeftButton);
  o.accept();
  QCOMPARE(w.settings().PyroxeneModel, 1);
  QVERIFY(!c.ActivityFlags(4) && c.ActivityFlags(5));
  for (int p : {2, 3, 6, 7, 11, 12, 13, 29}) QVERIFY(c.ActivityFlags(p));
  QVERIFY(!c.ActivityFlags(1));
}

void TestDesktop::progressDisplay() {
  // Bar lengths: int(ln |affinity| + 7) within 0..23.
  QCOMPARE(affinityBarLength(1.0), 7);
  QCOMPARE(affinityBarLength(-std::exp(3.5)), 10);
  QCOMPARE(affinityBarLength(1e-9), 0);
  QCOMPARE(affinityBarLength(1e12), 23);
  QCOMPARE(affinityBarLength(0.0), 0);
  ProgressPanel panel;
  ProgressInfo info;
  info.node = 7;
  info.temperatureK = 1473.15;
  info.pressureBar = 1000.0;
  info.attempt = 3;
  info.attemptsTotal = 9;
  info.constantT = false;
  info.hsqpFlag = 0.0;
  for (const char* f : {"SiO2", "TiO2", "Al2O3", "Fe2O3", "MgCr2O4", "Fe2SiO4", "MnSi.5O2"})
    info.constrainedComponents.emplace_back(f);
  panel.show(info);
  QCOMPARE(panel.findChild<QLabel*>("lblTemp")->text(), QString("1200.00 °C"));
  QCOMPARE(panel.findChild<QLabel*>("lblPressure")->text(), QString("1000.00 bar"));
  QCOMPARE(panel.findChild<QLabel*>("lblCount")->text(), QString("3\\9"));
  // A line break after the sixth constrained component.
  QCOMPARE(panel.findChild<QLabel*>("lblConstraints")->text(),
           QString("SiO2 TiO2 Al2O3 Fe2O3 MgCr2O4 Fe2SiO4\nMnSi.5O2"));
  info.constrainedComponents.clear();
  panel.show(info);
  QCOMPARE(panel.findChild<QLabel*>("lblConstraints")->text(), QString("none."));
}

QTEST_MAIN(TestDesktop)
#include "test_desktop.moc"
