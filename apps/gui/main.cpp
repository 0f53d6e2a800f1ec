// cumulex-gui: the desktop program.
//
//   cumulex-gui [SETUP.cxd] [--dir FOLDER] [--start] [--iterations N] [--screenshot FILE.png]
//               [--dialog FORM]
//
// The working folder (where CXsetup.cxd, CXoutput.txt and CXlog.txt live) is --dir, else the one
// used last, else "Cumulex" in the user's documents.  --start starts a run at once, --iterations
// stops each start after N iterations, and --screenshot saves a picture of the screen once the
// first run has ended and quits (for the documentation and for checks under a virtual display).
// With --dialog the picture shows that form open instead (MiscForm, CompactForm, BulkForm,
// InfiltrantForm, InflationForm, SetupDiffusionForm, PartitionCoefsForm, or ViewNodeForm after
// the initial state has been found; PausedRun: a run held after its first iteration, with the
// misc form open; LiquidusSearch: the bulk form while its liquidus search goes).
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QTimer>
#include <iostream>

#include "ui/desktop/main_window.h"
#include "ui/desktop/node_viewer.h"
#include "ui/desktop/setup_dialogs.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setOrganizationName("Cumulex");
  QApplication::setApplicationName("cumulex-gui");
  QApplication::setApplicationVersion(cx::desktop::kVersion);

  QCommandLineParser parser;
  parser.setApplicationDescription("Cumulex: a crystallizing magma column");
  parser.addHelpOption();
  parser.addVersionOption();
  QCommandLineOption dirOption("dir", "The working folder.", "folder");
  QCommandLineOption startOption("start", "Start a run at once.");
  QCommandLineOption iterationsOption("iterations", "Stop each run after N iterations.", "N");
  QCommandLineOption shotOption("screenshot", "Save the screen after the first run and quit.",
                                "file");
  QCommandLineOption dialogOption("dialog", "With --screenshot: show this form instead of a run.",
                                  "form");
  parser.addOptions({dirOption, startOption, iterationsOption, shotOption, dialogOption});
  parser.addPositionalArgument("setup", "A setup file (.cxd) to open.", "[SETUP.cxd]");
  parser.process(app);

  QString folder = parser.value(dirOption);
  if (folder.isEmpty()) folder = QSettings().value("folders/working").toString();
  if (folder.isEmpty())
    folder = QDir(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation))
                 .filePath("Cumulex");
  folder = QDir(folder).absolutePath();
  QSettings().setValue("folders/working", folder);

  cx::desktop::WindowOptions options;
  options.folder = folder.toStdString();
  if (!parser.positionalArguments().isEmpty())
    options.setup =
        QDir::current().absoluteFilePath(parser.positionalArguments().first()).toStdString();
  const QString shot = parser.value(shotOption);
  options.dialogs = shot.isEmpty();
  cx::desktop::MainWindow window(options);
  // The picture shows the window filling the screen.
  if (!shot.isEmpty()) window.setGeometry(QGuiApplication::primaryScreen()->availableGeometry());
  window.show();

  bool ok = true;
  const int iterations = parser.value(iterationsOption).toInt(&ok);
  if (parser.isSet(iterationsOption)) {
    if (!ok || iterations < 1) {
      std::cerr << "cumulex-gui: --iterations takes a whole number of at least 1\n";
      return 2;
    }
    window.setIterationLimit(iterations);
  }
  const QString form = parser.value(dialogOption);
  auto grabLater = [&window, shot] {
    QTimer::singleShot(500, &window, [shot] {
      const QPixmap picture = QGuiApplication::primaryScreen()->grabWindow(0);
      if (!picture.save(shot))
        std::cerr << "cumulex-gui: cannot write " << shot.toStdString() << '\n';
      QApplication::exit(picture.isNull() ? 1 : 0);
    });
  };
  if (!shot.isEmpty() && !form.isEmpty()) {
    if (form == "PausedRun") {
      QObject::connect(&window.port(), &cx::desktop::GuiPort::held, &window,
                       [&window, grabLater](int) {
                         QTimer::singleShot(100, &window, [&window, grabLater] {
                           cx::desktop::SetupDialog& d = window.setupDialog("MiscForm");
                           d.refresh();
                           d.show();
                           grabLater();
                         });
                       });
      QTimer::singleShot(200, &window, [&window] {
        window.command("CmdStart")->trigger();
        window.command("cmdPause")->trigger();
      });
    } else if (form == "LiquidusSearch") {
      QTimer::singleShot(200, &window, [&window, shot] {
        auto& d = static_cast<cx::desktop::BulkDialog&>(window.setupDialog("BulkForm"));
        d.refresh();
        d.show();
        // The picture is taken on the window's thread while the search waits at its third step;
        // then the search is halted and the program ends.
        auto reports = std::make_shared<int>(0);
        d.setSearchObserver([&d, shot, reports](const cx::ProgressInfo&) {
          if (++*reports != 3) return;
          QMetaObject::invokeMethod(
              &d,
              [&d, shot] {
                QApplication::processEvents();
                QGuiApplication::primaryScreen()->grabWindow(0).save(shot);
                d.haltSearch();
              },
              Qt::BlockingQueuedConnection);
        });
        d.Liquidus();
        QApplication::exit(0);
      });
    } else if (form == "ViewNodeForm") {
      QTimer::singleShot(200, &window, [&window] { window.command("cmdFindInitial")->trigger(); });
      QObject::connect(&window, &cx::desktop::MainWindow::jobFinished, &window,
                       [&window, grabLater] {
                         window.command("mnuViewNode")->trigger();
                         grabLater();
                       });
    } else {
      QTimer::singleShot(200, &window, [&window, form, grabLater] {
        cx::desktop::SetupDialog& d = window.setupDialog(form);
        d.refresh();
        d.show();
        grabLater();
      });
    }
    return app.exec();
  }
  if (parser.isSet(startOption) || !shot.isEmpty())
    QTimer::singleShot(200, &window, [&window] { window.command("CmdStart")->trigger(); });
  if (!shot.isEmpty())
    QObject::connect(&window, &cx::desktop::MainWindow::jobFinished, &window, grabLater);
  return app.exec();
}
