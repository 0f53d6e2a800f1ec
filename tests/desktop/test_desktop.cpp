// The desktop program on the offscreen platform: a whole session of a petrologist (the initial
// state, a run, a halt, a reload, the film), checked against the files the run writes and
// against the command line; the rules of the two phase dialogs; the progress display.
#include <QCheckBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <filesystem>

#include "base/text_format.h"
#include "base/vb.h"
#include "column/phase_options.h"
#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "ui/desktop/graph_panel.h"
#include "ui/desktop/main_window.h"
#include "ui/desktop/node_viewer.h"
#include "ui/desktop/phase_dialogs.h"
#include "ui/desktop/progress_panel.h"
#include "ui/desktop/setup_dialogs.h"

using namespace cx;
using namespace cx::desktop;
namespace fs = std::filesystem;

namespace {

// Types a value into a field and leaves it, as a user does.
void type(SetupDialog& d, const QString& name, const QString& text) {
  QLineEdit* f = d.field(name);
  QVERIFY2(f != nullptr, qPrintable(name));
  f->setText(text);
  emit f->editingFinished();
}

QString shown(SetupDialog& d, const QString& name) {
  QLineEdit* f = d.field(name);
  return f != nullptr ? f->text() : QString("<no field %1>").arg(name);
}

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
  void setupFormsRefuseAndRestore();
  void setupFormsSideEffects();
  void editedSetupReadsBackIdentical();
  void setupMenuAndNodeViewer();
  void pausedRunTakesTheEdits();
  void formSearchHalts();
  void miscFieldsShowTheirOwnFormat();
  void loadedIterationHasItsFluidizationRatio();
  void runSwitchesAndConstraint();
  void runSwitchesDuringARun();
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

// Every form's refused value: the beep, the message (answered at once: the tests' teller does not
// block), the listed value back in the field and in the setup.  Numeric-only fields take any
// number.
void TestDesktop::setupFormsRefuseAndRestore() {
  Session s;
  MainWindow& w = *s.window;
  Column& c = w.column();
  Settings& st = w.settings();
  QSignalSpy beeps(&w.port(), &GuiPort::beeped);
  struct Case {
    const char* form;
    const char* field;
    const char* typed;
    bool accepted;
    const char* shown;
  };
  const Case cases[] = {
      {"MiscForm", "tbInput(9)", "2", false, "1.0"},
      {"MiscForm", "tbInput(1)", "-1", false, "0.01"},
      {"MiscForm", "tbInput(2)", "2600", false, "2500"},
      {"MiscForm", "tbInput(3)", "hot", false, "2500"},
      {"MiscForm", "tbInput(4)", "-1", false, "0"},
      {"MiscForm", "tbInput(5)", "-0.5", false, "0"},
      {"MiscForm", "tbInput(6)", "fast", false, "RATE_TOP"},
      {"MiscForm", "tbInput(10)", "0.95", false, "0.1"},
      {"MiscForm", "tbInput(11)", "0", false, "1.0"},
      {"MiscForm", "tbInput(12)", "-11", false, "1.0"},
      {"MiscForm", "tbInput(13)", "1", false, "0.9"},
      {"MiscForm", "tbInput(14)", "4", false, "0"},
      {"MiscForm", "tbInput(7)", "-9999", true, "-9999.00000"},  // numeric only
      {"MiscForm", "tbInput(17)", "250", true, "250"},           // numeric only
      {"MiscForm", "tbInput(0)", "abc", false, "0.6"},
      {"MiscForm", "tbInput(15)", "2600", false, "300"},
      {"MiscForm", "tbInput(8)", "-5", true, "-5.00"},         // numeric only
      {"MiscForm", "tbInput(16)", "-3000", true, "-3000.00"},  // numeric only
      {"MiscForm", "tbInput(17)", "", false, "1"},
      {"CompactForm", "txtbxInput(2)", "-1", false, "0.3"},
      {"CompactForm", "txtbxInput(0)", "most", false, "0.95"},
      {"CompactForm", "txtbxInput(6)", "-0.1", false, "0.3"},
      {"CompactForm", "txtbxInput(3)", "2e15", true, "2.00E+15"},
      {"BulkForm", "tbinput(3)", "599", false, "T_TOP"},
      {"BulkForm", "tbinput(5)", "1", false, "NODES"},
      {"BulkForm", "tbinput(5)", "301", false, "NODES"},
      {"BulkForm", "tbinput(6)", "NODES+1", false, "1"},
      {"BulkForm", "tbinput(2)", "0", false, "P_TOP"},
      {"BulkForm", "txtbxOxBulk(1)", "-3", false, "SIO2"},
      {"BulkForm", "tbinput(4)", "2001", false, "T_BOT"},
      {"BulkForm", "tbinput(3)", "2000", true, "2000.00"},
      {"BulkForm", "tbinput(1)", "0", false, "LENGTH"},
      {"BulkForm", "tbinput(0)", "-300", false, "T_NODE"},
      {"BulkForm", "txtbxTraceBulk(3)", "-1", false, "SC_BULK"},
      {"InfiltrantForm", "txtbxOxideInfiltrant(2)", "x", false, "TIO2_INF"},
      {"InfiltrantForm", "txtbxFluxRate", "-1e-6", false, "FLUX"},
      {"InfiltrantForm", "txtbxTraceLiquid(5)", "-2", false, "V_INF"},
      {"InflationForm", "tbOxide(1)", "-5", false, "SIO2_INFL"},
      {"InflationForm", "tbInput(2)", "12", true, "12"},  // an iteration, without decimals
      {"InflationForm", "tbInput(1)", "0.5", true, "0.50"},
      {"InflationForm", "tbInput(0)", "-1", false, "0.00"},
      {"SetupDiffusionForm", "txtbxOxide(31)", "fast", false, "TRACE_D"},
      {"PartitionCoefsForm", "tbInput(0)", "none", false, "DCOEF"},
      {"PartitionCoefsForm", "tbInput(2)", "0.00036", true, "0.00036"},
  };
  const int nodes = c.NumNodes;
  for (const Case& k : cases) {
    SetupDialog& d = w.setupDialog(k.form);
    d.refresh();
    QString expected = k.shown;
    expected.replace("T_TOP", shown(d, "tbinput(3)"))
        .replace("T_BOT", shown(d, "tbinput(4)"))
        .replace("LENGTH", shown(d, "tbinput(1)"))
        .replace("T_NODE", shown(d, "tbinput(0)"))
        .replace("SC_BULK", shown(d, "txtbxTraceBulk(3)"))
        .replace("FLUX", shown(d, "txtbxFluxRate"))
        .replace("V_INF", shown(d, "txtbxTraceLiquid(5)"))
        .replace("SIO2_INFL", shown(d, "tbOxide(1)"))
        .replace("RATE_TOP",
                 QString::fromStdString(formatNumber(c.TopCoolRate * 86400.0, "#0.00000")))
        .replace("NODES", QString::number(nodes))
        .replace("P_TOP", shown(d, "tbinput(2)"))
        .replace("SIO2", shown(d, "txtbxOxBulk(1)"))
        .replace("TIO2_INF", shown(d, "txtbxOxideInfiltrant(2)"))
        .replace("TRACE_D", shown(d, "txtbxOxide(31)"))
        .replace("DCOEF", shown(d, "tbInput(0)"));
    QString typed = k.typed;
    typed.replace("NODES+1", QString::number(nodes + 1));
    const int messages = s.messages.size();
    const int beeped = beeps.size();
    type(d, k.field, typed);
    const QString what = QString("%1 %2 '%3'").arg(k.form, k.field, typed);
    QVERIFY2(shown(d, k.field) == expected,
             qPrintable(what + ": shows " + shown(d, k.field) + ", not " + expected));
    QCOMPARE(s.messages.size(), messages + (k.accepted ? 0 : 1));
    QCOMPARE(beeps.size(), beeped + (k.accepted ? 0 : 1));
    if (!k.accepted) QCOMPARE(s.messages.last(), QString("Illegal value entered!"));
  }
  // The fields are the store: what they show is the setup.
  QCOMPARE(st.misc(misc::kTimeStepMultiplier), 1.0);
  QCOMPARE(st.misc(misc::kEntropyError), -5.0);
  QCOMPARE(st.compactText(compact::kGrainRadiusMm), std::string("0.3"));
  QCOMPARE(c.NumNodes, nodes);
  QCOMPARE(c.DCoef(1, 3), 0.00036);  // olivine, Sc

  // The inflation's final height, with its own words; a height above the column passes.
  SetupDialog& inflation = w.setupDialog("InflationForm");
  const double heightM = c.Length / 100.0;
  type(inflation, "tbInput(3)", QString::number(heightM * 0.5));
  QCOMPARE(s.messages.last(), QString("Illegal value entered! Value must be larger that inital "
                                      "column height."));
  const int before = s.messages.size();
  type(inflation, "tbInput(3)", QString::number(heightM * 2.0));
  QCOMPARE(s.messages.size(), before);
  QCOMPARE(val(st.inflationTargetText), heightM * 2.0);
}

// What the forms do beside their fields: the cooling rates and the gas velocity in the main
// window's labels, the compaction scales, the Hadley values, the mass-balance oxide, the preset,
// the bulk commands.
void TestDesktop::setupFormsSideEffects() {
  Session s;
  MainWindow& w = *s.window;
  Column& c = w.column();
  Settings& st = w.settings();

  SetupDialog& misc = w.setupDialog("MiscForm");
  misc.refresh();
  type(misc, "tbInput(6)", "-0.5");
  QCOMPARE(shown(misc, "tbInput(6)"), QString("-0.50000"));
  QCOMPARE(c.TopCoolRate, -0.5 / 86400.0);
  QCOMPARE(w.labelText("lblTopCoolRate"), QString("-0.50000"));
  // A refused rate restores the present one.
  type(misc, "tbInput(7)", "fast");
  QCOMPARE(shown(misc, "tbInput(7)").toStdString(),
           formatNumber(c.BottomCoolRate * 86400.0, "#0.00000"));
  type(misc, "tbInput(12)", "-10");
  QCOMPARE(w.labelText("lblVwater"), QString("V(water) = 10 nodes per iteration"));
  type(misc, "tbInput(12)", "2");
  QCOMPARE(misc.field("tbInput(12)")->toolTip(),
           QString(st.optionInfiltrate ? "V(water) = fluxrate * Vwater parameter"
                                       : "V(water) = characteristic velocity * Vwater parameter"));
  QCOMPARE(w.labelText("lblVwater").toStdString(),
           vwaterLabel(vaporVelocity(c, st, VaporVelocityAt::SetupRead), 1e-8));
  auto* misc2 = static_cast<MiscDialog*>(&misc);
  misc2->option("OptionDrip")->setChecked(true);
  QVERIFY(st.OptionDrip && !st.optionLocal && !st.optionBottomAccum);
  QCOMPARE(w.labelText("lblSettling"), QString("Drip"));
  misc2->option("optionMix")->setChecked(true);
  QVERIFY(st.optionMix && !st.optionDisplace);
  QCOMPARE(w.labelText("lblMixing"), QString("Mixed"));
  // OK sizes the far field: without slabs the end nodes take the far-field temperatures.
  type(misc, "tbInput(15)", "900");
  misc.accept();
  QCOMPARE(c.Temp(c.NumNodes), 900.0 + 273.15);

  // Compaction: the scales follow each accepted value; Hadley asks first.
  auto& compactForm = static_cast<CompactDialog&>(w.setupDialog("CompactForm"));
  compactForm.refresh();
  type(compactForm, "txtbxInput(2)", "0.5");
  QCOMPARE(compactForm.scaleText("lblLengthScale").toStdString(),
           formatNumber(st.compactionLength() / 100.0, "fixed"));
  QCOMPARE(compactForm.scaleText("lblVelocity").toStdString(),
           formatNumber(st.compactionVelocity(), "scientific"));
  s.answer = false;
  compactForm.useHadley();
  QCOMPARE(s.questions.last(),
           QString("Do you wish to use the values from Tobias Hadley's Palisades study?"));
  QCOMPARE(shown(compactForm, "txtbxInput(2)"), QString("0.50"));
  s.answer = true;
  compactForm.useHadley();
  QCOMPARE(shown(compactForm, "txtbxInput(1)"), QString("0.0010"));
  QCOMPARE(shown(compactForm, "txtbxInput(2)"), QString("0.30"));

  // Diffusion: with every coefficient set, SiO2 closes the balance (its own is cleared); the
  // first zero coefficient takes over once SiO2 has one.
  auto& diffusionForm = static_cast<DiffusionDialog&>(w.setupDialog("SetupDiffusionForm"));
  diffusionForm.refresh();
  for (int j = 0; j < kOxides; ++j) type(diffusionForm, QString("txtbxOxide(%1)").arg(j), "1e-7");
  QCOMPARE(diffusionForm.massBalanceOx(), 1);
  QCOMPARE(c.MassDiffCoef(1, 1), 0.0);
  QCOMPARE(shown(diffusionForm, "txtbxOxide(0)"), QString("0.00E+00"));
  type(diffusionForm, "txtbxOxide(6)", "0");  // MnO
  type(diffusionForm, "txtbxOxide(0)", "2e-7");
  QCOMPARE(diffusionForm.massBalanceOx(), 7);
  QCOMPARE(c.MassDiffCoef(1, 1), 2e-7);
  QVERIFY(diffusionForm.findChild<QLabel*>("lblOxide(7)")->styleSheet().contains("255,0,0"));
  QVERIFY(!diffusionForm.findChild<QLabel*>("lblOxide(1)")->styleSheet().contains("255,0,0"));
  QVERIFY(diffusionForm.findChild<QLabel*>("lblHelp")->text().contains(
      "This one component, highlighted in red, is calculated by mass balance."));
  // Cancel gives back the coefficients of the opening.
  const Array2<double> opened = c.MassDiffCoef;
  diffusionForm.refresh();
  type(diffusionForm, "txtbxOxide(3)", "5e-6");
  diffusionForm.reject();
  QVERIFY(c.MassDiffCoef == opened);

  // The preset: its question; a "no" changes nothing.
  auto& partitionForm = static_cast<PartitionDialog&>(w.setupDialog("PartitionCoefsForm"));
  partitionForm.refresh();
  partitionForm.showPhase(2);               // plagioclase
  type(partitionForm, "tbInput(10)", "9");  // Sr
  s.answer = false;
  partitionForm.cmdDefault();
  QCOMPARE(s.questions.last(), QString("Do you wish to use the partition coefficients of Anne "
                                       "Corlett    for applicable phases and elements?"));
  QCOMPARE(c.DCoef(2, 11), 9.0);
  s.answer = true;
  partitionForm.cmdDefault();
  QCOMPARE(c.DCoef(2, 11), 3.2487);
  QCOMPARE(shown(partitionForm, "tbInput(10)"), QString("3.2487"));
  // Olivine's preset, from 0.00007 (Dy) to 10 (Ni), in plain decimals that read back exactly.
  partitionForm.showPhase(1);
  for (int t = 1; t <= kTraces; ++t) {
    const QString text = shown(partitionForm, QString("tbInput(%1)").arg(t - 1));
    QVERIFY2(!text.contains('E'), qPrintable(text));
    QCOMPARE(val(text.toStdString()), c.DCoef(1, t));
  }

  // Bulk: a uniform gradient between the two end temperatures; the node commands.
  auto& bulkForm = static_cast<BulkDialog&>(w.setupDialog("BulkForm"));
  bulkForm.refresh();
  type(bulkForm, "tbinput(3)", "1100");
  type(bulkForm, "tbinput(4)", "1200");
  bulkForm.cmdUniformT();
  QCOMPARE(bulkForm.findChild<QLabel*>("lblEndNodes")->text(),
           QString("On OK, node 1 takes %1 C and node %2 takes %3 C, the far-field temperatures "
                   "of Setup Misc.")
               .arg(QString::fromStdString(st.miscText(misc::kFarfieldTBottom)))
               .arg(c.NumNodes)
               .arg(QString::fromStdString(st.miscText(misc::kFarfieldTTop))));
  const int n = c.NumNodes;
  QCOMPARE(c.InitT(1), 1200.0 + 273.15);
  QCOMPARE(c.InitT(n), 1100.0 + 273.15);
  QVERIFY(std::abs(c.InitT(2) - c.InitT(1) - (c.InitT(n) - c.InitT(1)) / (n - 1)) < 1e-9);
  bulkForm.cmdNextNode();
  QCOMPARE(bulkForm.node(), 2);
  type(bulkForm, "txtbxOxBulk(8)", "20");  // MgO of node 2
  QCOMPARE(c.InitBulkOx(2, 8), 20.0);
  bulkForm.NormalizeBulk();
  double sum = 0.0;
  for (int j = 1; j <= kOxides; ++j) sum += c.InitBulkOx(2, j);
  QVERIFY(std::abs(sum - 100.0) < 1e-9);
  bulkForm.cmdNextNode();
  bulkForm.cmdSameAsPrevious();
  for (int j = 1; j <= kOxides; ++j) QCOMPARE(c.InitBulkOx(3, j), c.InitBulkOx(2, j));
  type(bulkForm, "tbinput(6)", "1");
  QCOMPARE(bulkForm.node(), 1);
  bulkForm.cmdUniformBulk();
  for (int i = 2; i <= n; ++i)
    for (int j = 1; j <= kOxides; ++j) QCOMPARE(c.InitBulkOx(i, j), c.InitBulkOx(1, j));
  // The liquidus of the node shown becomes its temperature, and the status names the phase.
  const double before = c.InitT(1);
  bulkForm.Liquidus();
  QVERIFY(c.InitT(1) != before);
  QVERIFY(c.InitT(1) > 900.0 + 273.15 && c.InitT(1) < 1600.0 + 273.15);
  QCOMPARE(shown(bulkForm, "tbinput(0)").toStdString(), formatExact(c.InitT(1) - 273.15, "Fixed"));
  QVERIFY(w.statusText().startsWith("Liquidus of node 1: "));
  // More nodes: the new ones take the old top's composition; the step length follows.
  type(bulkForm, "tbinput(5)", QString::number(n + 2));
  QCOMPARE(c.NumNodes, n + 2);
  QCOMPARE(c.DeltaX, c.Length / (n + 2));
  QCOMPARE(c.InitBulkOx(n + 2, 1), c.InitBulkOx(n, 1));
  QCOMPARE(w.labelText("lblSteps"), QString::number(n + 2));
}

// A setup edited in the forms and saved reads back, through the command line's reader, as the
// very setup the window holds.
void TestDesktop::editedSetupReadsBackIdentical() {
  Session s;
  MainWindow& w = *s.window;
  s.answer = true;
  SetupDialog& misc = w.setupDialog("MiscForm");
  type(misc, "tbInput(9)", "0.25");
  type(misc, "tbInput(6)", "-0.125");
  type(misc, "tbInput(16)", "750.5");
  static_cast<MiscDialog&>(misc).option("OptionDrip")->setChecked(true);
  misc.accept();
  SetupDialog& compactForm = w.setupDialog("CompactForm");
  type(compactForm, "txtbxInput(5)", "0.002");
  type(compactForm, "txtbxInput(3)", "3e14");
  auto& bulkForm = static_cast<BulkDialog&>(w.setupDialog("BulkForm"));
  type(bulkForm, "tbinput(5)", "24");
  type(bulkForm, "tbinput(1)", "12.345");
  type(bulkForm, "tbinput(2)", "1500");
  bulkForm.showNode(5);
  type(bulkForm, "tbinput(0)", "1123.4");
  type(bulkForm, "txtbxOxBulk(13)", "0.125");
  type(bulkForm, "txtbxTraceBulk(39)", "0.005");  // Au, ppm
  bulkForm.accept();
  SetupDialog& infiltrant = w.setupDialog("InfiltrantForm");
  type(infiltrant, "txtbxOxideInfiltrant(1)", "48.25");
  type(infiltrant, "txtbxTInfiltrant", "1180");
  type(infiltrant, "txtbxFluxRate", "2.5e-6");
  infiltrant.accept();
  SetupDialog& inflation = w.setupDialog("InflationForm");
  type(inflation, "tbInput(3)", "50");
  type(inflation, "tbOxide(3)", "15.5");
  auto& partitionForm = static_cast<PartitionDialog&>(w.setupDialog("PartitionCoefsForm"));
  partitionForm.cmdDefault();
  partitionForm.showPhase(18);
  type(partitionForm, "tbInput(9)", "2.125");  // Rb in biotite
  SetupDialog& diffusionForm = w.setupDialog("SetupDiffusionForm");
  diffusionForm.refresh();
  type(diffusionForm, "txtbxOxide(7)", "3.5e-8");
  type(diffusionForm, "txtbxOxide(20)", "0.0042");
  diffusionForm.accept();
  QVERIFY(s.messages.isEmpty() || !s.messages.contains("Illegal value entered!"));

  const QString file = s.dir.filePath("edited.cxd");
  QVERIFY(saveSetupAs(w.folder(), file.toStdString(), w.column(), w.settings(), w.port()));
  Column back;
  Settings backSettings;
  const SetupReadResult r = readSetupFile(file.toStdString(), back, backSettings);
  QVERIFY2(r.ok, r.message.c_str());
  const Column& c = w.column();
  QCOMPARE(back.NumNodes, 24);
  QCOMPARE(back.Length, 1234.5);
  QCOMPARE(back.TopPressure, 1500.0);
  QCOMPARE(back.TopCoolRate, c.TopCoolRate);
  QCOMPARE(back.FluxRate, 2.5e-6);
  QCOMPARE(back.InfiltrantT, 1180.0);
  for (int i = 1; i <= back.NumNodes; ++i) {
    QCOMPARE(back.InitT(i), c.InitT(i));
    for (int j = 1; j <= kOxides; ++j) QCOMPARE(back.InitBulkOx(i, j), c.InitBulkOx(i, j));
    for (int t = 1; t <= kTraces; ++t) QCOMPARE(back.InitBulkTrace(i, t), c.InitBulkTrace(i, t));
  }
  QCOMPARE(back.InitBulkTrace(5, 39), 0.005);
  QCOMPARE(back.InitT(5), 1123.4 + 273.15);
  QVERIFY(back.DCoef == c.DCoef);
  QCOMPARE(back.DCoef(18, 10), 2.125);
  QVERIFY(back.MassDiffCoef == c.MassDiffCoef);
  QVERIFY(back.SoretCoef == c.SoretCoef);
  QCOMPARE(back.DiffusionOrder, c.DiffusionOrder);
  QVERIFY(back.InflationOx == c.InflationOx);
  QVERIFY(back.InfiltrantOx == c.InfiltrantOx);
  for (int k = 0; k < misc::kCount; ++k) QCOMPARE(backSettings.misc(k), w.settings().misc(k));
  for (int k = 0; k < compact::kCount; ++k)
    QCOMPARE(backSettings.compact(k), w.settings().compact(k));
  QVERIFY(backSettings.OptionDrip);
  QCOMPARE(backSettings.inflationTargetText, std::string("50.00"));
  // And the file written from what was read is the same file.
  QCOMPARE(setupText(back, backSettings), setupText(c, w.settings()));
  // The command line takes the saved setup for a run of its own and writes it back unchanged.
  QTemporaryDir cliDir;
  QProcess cli;
  cli.start(CUMULEX_CLI, {"run", file, "--dir", cliDir.path(), "--initial-only"});
  QVERIFY(cli.waitForFinished(120000));
  QVERIFY2(cli.exitCode() == 0, cli.readAllStandardError().constData());
  QCOMPARE(fileText(fs::path(cliDir.path().toStdString()) / "CXsetup.cxd"),
           fileText(file.toStdString()));
}

void TestDesktop::setupMenuAndNodeViewer() {
  Session s;
  MainWindow& w = *s.window;
  for (const char* name :
       {"mnuSetupBulk", "mnuSetupInfiltrant", "mnuSetupCompaction", "mnuInflation",
        "mnuSetupDiffusionCoefs", "mnuPartitionCoefs", "mnuSetupMisc", "mnuViewNode"}) {
    QAction* a = w.command(name);
    QVERIFY2(a != nullptr, name);
    QVERIFY2(a->isEnabled(), name);
  }
  QCOMPARE(w.command("mnuSetupMisc")->text(), QString("Setup &Misc..."));
  QCOMPARE(w.command("mnuPartitionCoefs")->text(), QString("Setup &Partition Coefficients..."));
  // The initial state, then the viewer of node 3.
  w.command("cmdFindInitial")->trigger();
  QVERIFY(!w.command("mnuSetupBulk")->isEnabled());  // no setup edits while a job runs
  QVERIFY(waitForJob(w));
  QVERIFY(w.command("mnuSetupBulk")->isEnabled());
  w.command("mnuViewNode")->trigger();
  NodeViewer& v = w.nodeViewer();
  v.showNode(3);
  const Column& c = w.column();
  const QString report = v.reportText();
  QVERIFY(report.startsWith("Node 3 of " + QString::number(c.NumNodes)));
  QVERIFY(report.contains(
      QString::fromStdString("T            " + formatNumber(c.Temp(3) - 273.15, "0.00") + " C")));
  QVERIFY(
      report.contains(QString::fromStdString("F(liq)       " + formatNumber(c.FLiq(3), "0.0000"))));
  QVERIFY(report.contains("Liquid (wt %):"));
  QVERIFY(report.contains("Trace elements, bulk (ppm):"));
  // The repairs act on the window's column: node 3 as the mean of 2 and 4, then as node 2.
  Column& live = w.column();
  const double mean = (live.Temp(2) + live.Temp(4)) / 2.0;
  const double liquid = (live.MassLiq(2) + live.MassLiq(4)) / 2.0;
  // A repair asks first; a "no" leaves the node.
  const double own = live.Temp(3);
  s.answer = false;
  QTest::mouseClick(v.findChild<QPushButton*>("cmdInterpolate"), Qt::LeftButton);
  QCOMPARE(s.questions.last(),
           QString("Replace the state of node 3 by the mean of its neighbours?"));
  QCOMPARE(live.Temp(3), own);
  s.answer = true;
  QTest::mouseClick(v.findChild<QPushButton*>("cmdInterpolate"), Qt::LeftButton);
  QCOMPARE(live.Temp(3), mean);
  QCOMPARE(live.MassLiq(3), std::max(liquid, 1e-6));
  QVERIFY(w.eventsText().contains("Interpolating probelm node: 3"));
  QTest::mouseClick(v.findChild<QPushButton*>("cmdUsePrevious"), Qt::LeftButton);
  QCOMPARE(live.Temp(3), live.Temp(2));
  for (int j = 1; j <= kOxides; ++j) QCOMPARE(live.LiqOx(3, j), live.LiqOx(2, j));
  QVERIFY(v.reportText().contains(
      QString::fromStdString("T            " + formatNumber(live.Temp(2) - 273.15, "0.00"))));
  QCOMPARE(w.graph(1)->canvas()->column()->Temp(3), live.Temp(2));  // the graphs follow
  w.nodeViewer().hide();
}

// A run held between two iterations: the forms open (but the bulk form, the initial state), an
// accepted edit reaches the very next iteration, a halt later on keeps the edits, and OK of the
// misc form leaves the temperatures the run has reached.
void TestDesktop::pausedRunTakesTheEdits() {
  // The reference: the same two iterations with the setup as it stands.  The two runs are the
  // same up to the pause (a run gives the same output for the same setup).
  double referenceStep = 0.0;
  {
    Session s;
    s.window->setIterationLimit(2);
    s.window->command("CmdStart")->trigger();
    QVERIFY(waitForJob(*s.window));
    QCOMPARE(s.window->column().Iteration, 2);
    referenceStep = s.window->column().DeltaT;
  }
  Session s;
  MainWindow& w = *s.window;
  QVERIFY(!w.command("cmdPause")->isEnabled());
  QSignalSpy heldSpy(&w.port(), &GuiPort::held);
  // Pause, clicked while the first iteration goes: the run waits before the second.
  auto clickAt = [&w](int atIteration, const char* command) {
    auto done = std::make_shared<bool>(false);
    w.port().setTurnObserver([&w, done, atIteration, command](int iteration) {
      if (*done || iteration != atIteration) return;
      *done = true;
      QMetaObject::invokeMethod(
          &w, [&w, command] { w.command(command)->trigger(); }, Qt::BlockingQueuedConnection);
    });
  };
  clickAt(1, "cmdPause");
  w.setIterationLimit(2);
  w.command("CmdStart")->trigger();
  QVERIFY(w.command("cmdPause")->isEnabled());
  QVERIFY(!w.command("mnuSetupMisc")->isEnabled());  // a computing run owns the setup
  QTRY_VERIFY_WITH_TIMEOUT(w.held(), 120000);
  w.port().setTurnObserver({});
  QCOMPARE(heldSpy.size(), 1);
  QCOMPARE(heldSpy.first().first().toInt(), 1);
  Column& c = w.column();
  QCOMPARE(c.Iteration, 1);
  QCOMPARE(w.moduleText(), QString("Paused"));
  QVERIFY(w.command("cmdResume")->isEnabled());
  for (const char* name : {"mnuSetupMisc", "mnuSetupCompaction", "mnuSetupInfiltrant",
                           "mnuInflation", "mnuSetupDiffusionCoefs", "mnuPartitionCoefs"})
    QVERIFY2(w.command(name)->isEnabled(), name);
  QVERIFY(!w.command("mnuSetupBulk")->isEnabled());
  QVERIFY(!w.command("CmdStart")->isEnabled() && !w.command("mnuOpen")->isEnabled());

  // The time step multiplier halved and a faster top cooling, typed in the misc form.
  SetupDialog& misc = w.setupDialog("MiscForm");
  misc.refresh();
  const double multiplier = w.settings().misc(misc::kTimeStepMultiplier);
  type(misc, "tbInput(9)", QString::number(multiplier / 2.0));
  type(misc, "tbInput(6)", "-2.5");
  QCOMPARE(c.TopCoolRate, -2.5 / 86400.0);
  const int n = c.NumNodes;
  const double topReached = c.Temp(n), bottomReached = c.Temp(1);
  misc.accept();
  // No far-field slabs here: OK of a form at rest would set the end nodes to the far-field
  // temperatures; the held run keeps the temperatures it has reached.
  QCOMPARE(toInt16(w.settings().misc(misc::kFarfieldThickness)), 0);
  QVERIFY(topReached != w.settings().misc(misc::kFarfieldTTop) + 273.15);
  QCOMPARE(c.Temp(n), topReached);
  QCOMPARE(c.Temp(1), bottomReached);

  w.command("cmdResume")->trigger();
  QVERIFY(!w.held());
  QVERIFY(!w.command("mnuSetupMisc")->isEnabled());
  QVERIFY(waitForJob(w));
  QCOMPARE(c.Iteration, 2);
  // The second iteration's time step is that of the reference, halved.
  QVERIFY2(std::abs(c.DeltaT / referenceStep - 0.5) < 1e-12,
           qPrintable(QString("step %1, reference %2").arg(c.DeltaT).arg(referenceStep)));
  QCOMPARE(listIterations(s.output()), std::vector<int>({0, 1, 2}));

  // The run goes on; held before its fourth iteration, the top cooling is edited again, then a
  // halt interrupts the fourth: the run goes back to the state of iteration 3, and the edit
  // stays.
  w.setIterationLimit(-1);
  clickAt(3, "cmdPause");
  w.command("CmdStart")->trigger();
  QTRY_VERIFY_WITH_TIMEOUT(w.held(), 120000);
  QCOMPARE(c.Iteration, 3);
  type(misc, "tbInput(6)", "-4");
  clickAt(4, "cmdHalt");
  w.command("cmdResume")->trigger();
  QVERIFY(waitForJob(w));
  w.port().setTurnObserver({});
  QCOMPARE(c.Iteration, 3);
  QCOMPARE(c.TopCoolRate, -4.0 / 86400.0);
  QCOMPARE(w.settings().misc(misc::kTStepTop), -4.0);
  QCOMPARE(w.statusText(), QString("Calculation Aborted."));

  // A halt while the run is held ends it there, with the output file whole.
  w.loadIterationField()->setText("3");
  s.answer = true;
  w.command("cmdLoadLastIteration")->trigger();
  clickAt(4, "cmdPause");
  w.command("CmdStart")->trigger();
  QTRY_VERIFY_WITH_TIMEOUT(w.held(), 120000);
  w.port().setTurnObserver({});
  w.command("cmdHalt")->trigger();
  QVERIFY(waitForJob(w));
  QCOMPARE(c.Iteration, 4);
  const std::string out = s.output();
  QCOMPARE(listIterations(out), std::vector<int>({0, 1, 2, 3, 4}));
  QCOMPARE(lastCompleteIteration(out, "CXoutput.txt", c), 4);
  QVERIFY(!w.held() && !w.command("cmdResume")->isEnabled());
}

// A search of a form (the liquidus of a node) runs on its own thread: its progress shows, Halt
// stops it at its next step and leaves the node as it was, and the next search goes to its end.
void TestDesktop::formSearchHalts() {
  Session s;
  MainWindow& w = *s.window;
  Column& c = w.column();
  auto& bulk = static_cast<BulkDialog&>(w.setupDialog("BulkForm"));
  bulk.refresh();
  auto* halt = bulk.findChild<QPushButton*>("cmdHalt");
  auto* ok = bulk.findChild<QPushButton*>("cmdOK");
  QVERIFY(halt != nullptr && ok != nullptr);
  QVERIFY(!halt->isEnabled());
  const double before = c.InitT(1);
  int reports = 0;
  bool sawSearching = false;
  bulk.setSearchObserver([&](const ProgressInfo& info) {
    if (++reports != 1) return;
    QVERIFY(info.temperatureK > 0.0 && info.saturatedPhases.size() == 1);
    // The operator's click, made while the search has just evaluated its start.
    QMetaObject::invokeMethod(
        &bulk,
        [&] {
          sawSearching = bulk.searching() && halt->isEnabled() && !ok->isEnabled();
          halt->click();
        },
        Qt::BlockingQueuedConnection);
  });
  bulk.Liquidus();
  QVERIFY(sawSearching);
  QCOMPARE(reports, 1);  // no step after the halt
  QCOMPARE(c.InitT(1), before);
  QCOMPARE(w.statusText(), QString(" Calculation Aborted"));
  QVERIFY(!bulk.searching() && !halt->isEnabled() && ok->isEnabled());
  QVERIFY2(bulk.searchText().startsWith("Step 1:  ") && bulk.searchText().contains(" C,  "),
           qPrintable(bulk.searchText()));

  bulk.setSearchObserver([&](const ProgressInfo&) { ++reports; });
  reports = 0;
  bulk.Liquidus();
  QVERIFY(reports > 1);
  QVERIFY(c.InitT(1) != before);
  QVERIFY(w.statusText().startsWith("Liquidus of node 1: "));
  // Escape during no search closes the form as usual.
  bulk.show();
  bulk.reject();
  QVERIFY(!bulk.isVisible());
}

// The misc form shows each value in the field's own format from the start: what it shows is what
// its own check makes of that text.  The setup file writes the cooling rates "scientific".
void TestDesktop::miscFieldsShowTheirOwnFormat() {
  Session s;
  MainWindow& w = *s.window;
  const Settings& st = w.settings();
  QCOMPARE(st.miscText(misc::kTStepTop), std::string("-1.00E+00"));
  const std::string before = setupText(w.column(), st);
  SetupDialog& misc = w.setupDialog("MiscForm");
  misc.refresh();
  QCOMPARE(shown(misc, "tbInput(6)"), QString("-1.00000"));
  QCOMPARE(shown(misc, "tbInput(1)"), QString("1.00E-02"));
  for (int k = 0; k < misc::kCount; ++k) {
    const QString opened = shown(misc, QString("tbInput(%1)").arg(k));
    const double rate = k == misc::kTStepTop ? w.column().TopCoolRate : w.column().BottomCoolRate;
    const FieldCheck again = st.checkMiscField(k, opened.toStdString(), rate);
    QVERIFY2(again.accepted, qPrintable(opened));
    QCOMPARE(QString::fromStdString(again.text), opened);
    QCOMPARE(val(opened.toStdString()), st.misc(k));  // the value itself unchanged
  }
  // Showing changes nothing of the store: a save writes what was read.
  QCOMPARE(setupText(w.column(), st), before);
}

// A loaded iteration of a compacting pile has its V/V(fluidization) worked out again, as the
// command line's show does for the same iteration.
void TestDesktop::loadedIterationHasItsFluidizationRatio() {
  Session s;
  MainWindow& w = *s.window;
  // A partly crystallized basalt pile that compacts under hot magma.
  w.openSetupFile(QString(CUMULEX_EXAMPLES) + "/compacting-cumulate.cxd");
  QVERIFY(s.messages.isEmpty());
  QVERIFY(w.settings().compacting());
  w.setIterationLimit(2);
  w.command("CmdStart")->trigger();
  QVERIFY(waitForJob(w));
  QProcess cli;
  cli.start(CUMULEX_CLI,
            {"show", QString::fromStdString(s.folder().string()), "--iteration", "1", "--json"});
  QVERIFY(cli.waitForFinished(60000));
  QCOMPARE(cli.exitCode(), 0);
  const QJsonArray nodes = QJsonDocument::fromJson(cli.readAllStandardOutput())["nodes"].toArray();
  s.answer = true;
  w.loadIterationField()->setText("1");
  w.command("cmdLoadLastIteration")->trigger();
  const Column& c = w.column();
  QCOMPARE(c.Iteration, 1);
  QCOMPARE(nodes.size(), c.NumNodes);
  bool moving = false;
  for (int i = 1; i <= c.NumNodes; ++i) {
    const double cliRatio = nodes[i - 1].toObject()["V/V(fluidization)"].toDouble();
    QVERIFY2(std::abs(c.VRatio(i) - cliRatio) <= 1e-9 * (1.0 + std::abs(cliRatio)),
             qPrintable(QString("node %1: %2 against %3").arg(i).arg(c.VRatio(i)).arg(cliRatio)));
    moving = moving || c.VRatio(i) != 0.0;
  }
  QVERIFY(moving);
}

QTEST_MAIN(TestDesktop)
#include "test_desktop.moc"

// The switches of the main window write the run options a saved setup carries; the run constraint
// sets the run mode and the flux rate and gas velocity shown follow it, as a window opened on
// that mode shows them.
void TestDesktop::runSwitchesAndConstraint() {
  Session s;
  MainWindow& w = *s.window;
  Settings& st = w.settings();
  const Column& c = w.column();
  // Every switch of the table, each showing its settings field.
  const std::vector<std::pair<const char*, int RunOptions::*>> fields = {
      {"chkSkipEquilibration", &RunOptions::chkSkipEquilibration},
      {"chkSkipTDiffusion", &RunOptions::chkSkipTDiffusion},
      {"chkSkipMassDiffusion", &RunOptions::chkSkipMassDiffusion},
      {"chkSkipAdvection", &RunOptions::chkSkipAdvection},
      {"chkSkipCompaction", &RunOptions::chkSkipCompaction},
      {"chkSkipGas", &RunOptions::chkSkipGas},
      {"chkSkipFarfield", &RunOptions::chkSkipFarfield},
      {"chkTTop", &RunOptions::chkTTop},
      {"chkTBottom", &RunOptions::chkTBottom},
      {"chkConstantT", &RunOptions::chkConstantT},
      {"chkSkipVolumeCorrection", &RunOptions::chkSkipVolumeCorrection},
      {"chkSkipInterpolate", &RunOptions::chkSkipInterpolate},
      {"chkSkipTrace", &RunOptions::chkSkipTrace},
      {"chkPauseOnError", &RunOptions::chkPauseOnError}};
  for (const auto& [name, field] : fields) {
    QCheckBox* box = w.runSwitch(name);
    QVERIFY2(box != nullptr && box->isEnabled(), name);
    QVERIFY2(box->isChecked() == (st.run.*field == 1), name);
  }
  QCOMPARE(w.runSwitch("chkSkipEquilibration")->text(), QString("Skip Equilibration"));
  QCOMPARE(w.runSwitch("chkSkipMassDiffusion")->text(), QString("Skip Liquid Mass Diffusion"));
  QCOMPARE(w.runSwitch("chkTTop")->text(), QString("Float T (top)"));
  QCOMPARE(w.runSwitch("chkPauseOnError")->text(), QString("Show All Errors"));
  QCOMPARE(w.runSwitch("chkConstantT")->text(), QString("Fixed T, not S"));

  // Each box flipped by a click flips its own field and no other.
  const RunOptions before = st.run;
  for (const auto& [name, field] : fields) {
    RunOptions expected = st.run;
    expected.*field = 1 - expected.*field;
    w.runSwitch(name)->click();
    QVERIFY2(st.run == expected, name);
  }
  for (const auto& [name, field] : fields) QCOMPARE(st.run.*field, 1 - before.*field);

  // The saved setup carries the switches (all but "Fixed T, not S") to the command line's
  // reader.
  const QString file = s.dir.filePath("switches.cxd");
  QVERIFY(saveSetupAs(w.folder(), file.toStdString(), w.column(), st, w.port()));
  {
    Column back;
    Settings backSettings;
    const SetupReadResult r = readSetupFile(file.toStdString(), back, backSettings);
    QVERIFY2(r.ok, r.message.c_str());
    for (const auto& [name, field] : fields)
      if (std::string_view(name) != "chkConstantT")
        QVERIFY2(backSettings.run.*field == st.run.*field, name);
    QCOMPARE(backSettings.run.chkConstantT, 0);
  }
  // Opening the file shows what it holds, whatever the boxes showed.
  for (const auto& [name, field] : fields) w.runSwitch(name)->click();
  QVERIFY(st.run == before);
  w.openSetupFile(file);
  for (const auto& [name, field] : fields) {
    if (std::string_view(name) == "chkConstantT") continue;
    QVERIFY2(st.run.*field == 1 - before.*field, name);
    QVERIFY2(w.runSwitch(name)->isChecked() == (st.run.*field == 1), name);
  }

  // The run constraint.  A gas velocity of twice the liquid's: the flux rate when infiltrating,
  // the pile's characteristic velocity when compacting.
  SetupDialog& misc = w.setupDialog("MiscForm");
  misc.refresh();
  type(misc, "tbInput(12)", "2");
  misc.accept();
  SetupDialog& infiltrant = w.setupDialog("InfiltrantForm");
  infiltrant.refresh();
  type(infiltrant, "txtbxFluxRate", "2.5e-6");
  infiltrant.accept();
  QCOMPARE(c.FluxRate, 2.5e-6);
  QRadioButton* infiltrate = w.runConstraint("optionInfiltrate");
  QRadioButton* compact = w.runConstraint("optionCompact");
  QVERIFY(infiltrate != nullptr && compact != nullptr);
  QCOMPARE(compact->isChecked(), st.optionCompact);
  QCOMPARE(infiltrate->isChecked(), st.optionInfiltrate);
  auto vwaterTipShown = [&w] { return w.findChild<QLabel*>("lblVwater")->toolTip(); };
  compact->click();
  QVERIFY(st.optionCompact && !st.optionInfiltrate);
  QCOMPARE(w.labelText("lblFluxRate"), QString("Compacting"));
  const double compaction = st.compactionVelocity();
  QVERIFY(compaction > 0.0);
  QCOMPARE(w.labelText("lblVwater").toStdString(), vwaterLabel(2.0 * compaction, 1e-8));
  QCOMPARE(vwaterTipShown(), QString("V(water) = characteristic velocity * Vwater parameter"));
  const QString compactVwater = w.labelText("lblVwater");
  infiltrate->click();
  QVERIFY(st.optionInfiltrate && !st.optionCompact);
  QCOMPARE(w.labelText("lblFluxRate").toStdString(), formatNumber(2.5e-6, "scientific"));
  QCOMPARE(w.labelText("lblVwater").toStdString(), vwaterLabel(2.0 * 2.5e-6, 1e-8));
  QVERIFY(w.labelText("lblVwater") != compactVwater);
  QCOMPARE(vwaterTipShown(), QString("V(water) = fluxrate * Vwater parameter"));
  // A window that starts on this setup shows the same texts.
  const QString infiltrating = s.dir.filePath("infiltrating.cxd");
  QVERIFY(saveSetupAs(w.folder(), infiltrating.toStdString(), w.column(), st, w.port()));
  {
    Session other;
    other.window->openSetupFile(infiltrating);
    QVERIFY(other.window->runConstraint("optionInfiltrate")->isChecked());
    QVERIFY(!other.window->runConstraint("optionCompact")->isChecked());
    for (const char* label : {"lblFluxRate", "lblVwater"})
      QCOMPARE(other.window->labelText(label), w.labelText(label));
    QCOMPARE(other.window->findChild<QLabel*>("lblVwater")->toolTip(), vwaterTipShown());
  }
  // A negative parameter counts nodes per iteration, in either mode.
  type(misc, "tbInput(12)", "-3");
  misc.accept();
  compact->click();
  QCOMPARE(w.labelText("lblVwater"), QString("V(water) = 3 nodes per iteration"));
  QCOMPARE(vwaterTipShown(), QString("V(water) = nodes per iteration"));
  // Opening a setup puts back its mode.
  w.openSetupFile(infiltrating);
  QVERIFY(infiltrate->isChecked() && !compact->isChecked() && st.optionInfiltrate);
  QCOMPARE(w.labelText("lblFluxRate").toStdString(), formatNumber(2.5e-6, "scientific"));
}

// The switches are disabled while a run computes and take effect at once while it is held:
// iterations with "Skip Equilibration" checked leave every node's assemblage as iteration 0 left
// it while the temperatures move on; unchecked during a pause, the next iteration re-equilibrates.
void TestDesktop::runSwitchesDuringARun() {
  Session s;
  MainWindow& w = *s.window;
  Column& c = w.column();
  QCheckBox* skip = w.runSwitch("chkSkipEquilibration");
  QVERIFY(!skip->isChecked() && w.settings().run.chkSkipEquilibration == 0);
  skip->click();
  QCOMPARE(w.settings().run.chkSkipEquilibration, 1);

  auto done = std::make_shared<bool>(false);
  w.port().setTurnObserver([&w, done](int iteration) {
    if (*done || iteration != 2) return;
    *done = true;
    QMetaObject::invokeMethod(
        &w, [&w] { w.command("cmdPause")->trigger(); }, Qt::BlockingQueuedConnection);
  });
  w.setIterationLimit(3);
  w.command("CmdStart")->trigger();
  QVERIFY(w.busy());
  QVERIFY(!skip->isEnabled() && !w.runSwitch("chkTTop")->isEnabled());
  QVERIFY(!w.runConstraint("optionCompact")->isEnabled());
  QTRY_VERIFY_WITH_TIMEOUT(w.held(), 120000);
  w.port().setTurnObserver({});
  QCOMPARE(c.Iteration, 2);
  QVERIFY(skip->isEnabled() && w.runConstraint("optionInfiltrate")->isEnabled());

  // Two iterations without equilibration: the phases of every node are those of iteration 0.
  bool temperatureMoved = false;
  for (int i = 1; i <= c.NumNodes; ++i) {
    QCOMPARE(c.FLiq(i), c.InitFLiq(i));
    for (int k = 1; k <= kPhaseOrderSize; ++k) QCOMPARE(c.PhaseMass(i, k), c.InitPhaseMass(i, k));
    for (int j = 1; j <= kOxides; ++j) {
      QCOMPARE(c.LiqOx(i, j), c.InitLiqOx(i, j));
      QCOMPARE(c.SolidOx(i, j), c.InitSolidOx(i, j));
    }
    temperatureMoved = temperatureMoved || c.Temp(i) != c.InitT(i);
  }
  QVERIFY2(temperatureMoved, "the column did not cool");

  // Unchecked while held: the third iteration equilibrates the cooled nodes again.
  skip->click();
  QCOMPARE(w.settings().run.chkSkipEquilibration, 0);
  w.command("cmdResume")->trigger();
  QVERIFY(!skip->isEnabled());
  QVERIFY(waitForJob(w));
  QCOMPARE(c.Iteration, 3);
  QVERIFY(skip->isEnabled() && !skip->isChecked());
  double change = 0.0;
  for (int i = 1; i <= c.NumNodes; ++i)
    change = std::max(change, std::abs(c.FLiq(i) - c.InitFLiq(i)));
  QVERIFY2(change > 1e-6, qPrintable(QString("largest change of FLiq %1").arg(change)));
}
