// `cumulex plot`: the graphs of a saved iteration, side by side as the main window shows them,
// written to PNG, SVG or PDF without a display; or one picture per saved iteration (the film).
#include <QGuiApplication>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

#include "base/diagnostics.h"
#include "base/port.h"
#include "base/text_format.h"
#include "cli_util.h"
#include "column/names.h"
#include "commands.h"
#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "plot/figure.h"
#include "transport/compaction.h"

namespace cx::cli {
namespace {

namespace fs = std::filesystem;

struct PlotOptions {
  std::string dir;
  int iteration = -1;
  bool allIterations = false;
  std::string graphs, oxide, trace, out, format, size = "1600x900";
  std::vector<std::string> bounds;
};

std::string trimmed(const std::string& s) {
  const auto first = s.find_first_not_of(" \t");
  if (first == std::string::npos) return {};
  return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

bool sameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

// Index 1..N of `name` among the names of a one-based list (any case), or 0.
template <class Names>
int indexOf(const Names& names, int count, std::string_view name) {
  for (int i = 1; i <= count; ++i)
    if (sameName(names[static_cast<std::size_t>(i)], name)) return i;
  return 0;
}

bool isProperty(std::string_view name) {
  return std::find(plotmodel::kPlotProperties.begin(), plotmodel::kPlotProperties.end(), name) !=
         plotmodel::kPlotProperties.end();
}

// "0-5, 7, 9-12": the saved iterations, runs of consecutive numbers joined.
std::string describeIterations(const std::vector<int>& its) {
  std::ostringstream s;
  for (std::size_t i = 0; i < its.size();) {
    std::size_t j = i;
    while (j + 1 < its.size() && its[j + 1] == its[j] + 1) ++j;
    if (i > 0) s << ", ";
    s << its[i];
    if (j > i) s << '-' << its[j];
    i = j + 1;
  }
  return s.str();
}

void quietQt(QtMsgType type, const QMessageLogContext&, const QString& message) {
  if (type != QtDebugMsg && type != QtInfoMsg && !message.startsWith("QStandardPaths:"))
    std::cerr << "cumulex plot: Qt: " << message.toStdString() << '\n';
}

int fail(const std::string& message) {
  std::cerr << "cumulex plot: " << message << '\n';
  return 2;
}

// The graphs asked for: --graphs, else the choices saved with the setup, else the main window's
// defaults.  Each name must be one of the property list, exactly as it is written there.
bool chooseGraphs(const PlotOptions& o, const Settings& settings,
                  std::vector<plotmodel::GraphRequest>& requests) {
  std::vector<std::string> names;
  if (!o.graphs.empty()) {
    std::stringstream in(o.graphs);
    for (std::string item; std::getline(in, item, ',');) names.push_back(trimmed(item));
    if (names.size() > 4) {
      fail("--graphs takes one to four properties, not " + std::to_string(names.size()));
      return false;
    }
    for (const auto& n : names)
      if (!isProperty(n)) {
        fail("--graphs: '" + excerpt(n) +
             "' is not a property of the graphs (for example \"Temperature\", \"Liquid "
             "Fraction\", \"Mass - Phases\", \"Oxide wt % - Liquid\")");
        return false;
      }
  } else {
    const Settings defaults;
    for (int k = 1; k <= 4; ++k) {
      const std::string& saved = settings.GraphSelect[static_cast<std::size_t>(k)];
      names.push_back(isProperty(saved) ? saved
                                        : defaults.GraphSelect[static_cast<std::size_t>(k)]);
    }
  }
  requests.assign(names.size(), plotmodel::GraphRequest{});
  for (std::size_t k = 0; k < names.size(); ++k) requests[k].property = names[k];
  return true;
}

// "K=LO:HI": graph K (1..4) with typed bounds instead of its automatic scale.
bool applyBounds(const std::vector<std::string>& items,
                 std::vector<plotmodel::GraphRequest>& requests) {
  for (const auto& item : items) {
    const auto eq = item.find('=');
    const auto colon = item.find(':', eq == std::string::npos ? 0 : eq);
    double k = 0.0, lo = 0.0, hi = 0.0;
    if (eq == std::string::npos || colon == std::string::npos ||
        !parseNumber(trimmed(item.substr(0, eq)), k) ||
        !parseNumber(trimmed(item.substr(eq + 1, colon - eq - 1)), lo) ||
        !parseNumber(trimmed(item.substr(colon + 1)), hi)) {
      fail("--bounds takes GRAPH=LOWER:UPPER (for example 1=900:1250), not '" + excerpt(item) +
           "'");
      return false;
    }
    if (k != std::floor(k) || k < 1 || k > static_cast<double>(requests.size())) {
      fail("--bounds '" + excerpt(item) + "': the graph number must be 1 to " +
           std::to_string(requests.size()));
      return false;
    }
    auto& r = requests[static_cast<std::size_t>(k) - 1];
    r.autoScale = false;
    r.lower = lo;
    r.upper = hi;
  }
  return true;
}

bool readSize(const std::string& text, QSize& size) {
  const auto x = text.find_first_of("xX");
  double w = 0.0, h = 0.0;
  if (x == std::string::npos || !parseNumber(text.substr(0, x), w) ||
      !parseNumber(text.substr(x + 1), h) || w != std::floor(w) || h != std::floor(h) || w < 200 ||
      h < 150 || w > 10000 || h > 10000) {
    fail("--size takes WIDTHxHEIGHT in pixels, 200x150 to 10000x10000, not '" + excerpt(text) +
         "'");
    return false;
  }
  size = QSize(static_cast<int>(w), static_cast<int>(h));
  return true;
}

int plotCommand(const PlotOptions& o) {
  // Arguments first, before any file is read.
  QSize size;
  if (!readSize(o.size, size)) return 2;
  std::optional<plot::ImageFormat> format;
  fs::path out = o.out;
  if (o.allIterations) {
    const std::string f = o.format.empty() ? "png" : o.format;
    format = plot::imageFormatOf("frame." + f);
    if (!format) return fail("--format takes png, svg or pdf, not '" + excerpt(f) + "'");
  } else {
    if (!o.format.empty())
      return fail("--format goes with --all-iterations; otherwise the name given to --out says it");
    format = plot::imageFormatOf(out);
    if (!format)
      return fail("--out must name a .png, .svg or .pdf file, not '" + excerpt(o.out) + "'");
  }

  // The folder's setup gives the layout of the column and the graph choices saved with it.
  const fs::path dir = o.dir;
  const fs::path file = dir / std::string(kOutputFileName);
  const FileText read = readTextFile(file, kMaxOutputFileBytes);
  if (!read.text) return fail("cannot read " + file.string() + ": " + read.problem);
  const std::string& text = *read.text;
  auto column = std::make_unique<Column>();
  Settings settings;
  NullPort quiet;
  if (fs::exists(dir / std::string(kSetupFileName))) ReadSetup(dir, *column, settings, quiet);

  std::vector<plotmodel::GraphRequest> requests;
  if (!chooseGraphs(o, settings, requests) || !applyBounds(o.bounds, requests)) return 2;
  const std::string oxideName = o.oxide.empty() ? settings.comboOxideSelect : o.oxide;
  const std::string traceName = o.trace.empty() ? settings.comboTraceSelect : o.trace;
  int oxide = indexOf(OxideNames, kOxides, oxideName);
  int trace = indexOf(TraceNames, kTraces, traceName);
  if (oxide == 0 && !o.oxide.empty())
    return fail("--oxide: '" + excerpt(o.oxide) +
                "' is not an oxide of the column (SiO2, TiO2, "
                "Al2O3, ..., MgO, ...)");
  if (trace == 0 && !o.trace.empty())
    return fail("--trace: '" + excerpt(o.trace) +
                "' is not a trace element of the column (La, "
                "Ce, ...)");
  if (oxide == 0) oxide = 8;  // a setup naming no known oxide: MgO
  if (trace == 0) trace = 1;
  for (auto& r : requests) {
    r.oxide = oxide;
    r.trace = trace;
  }

  const std::vector<int> saved = listIterations(text);
  if (saved.empty()) return fail(file.string() + " holds no saved iteration");
  if (const OutputIndex index = indexOutput(text, file.string()); !index.problem.empty())
    std::cerr << "cumulex plot: note: " << index.problem << '\n';

  // No window is ever shown: the offscreen platform draws without a display.  Qt's notes about
  // the desktop session it does not use are not for the user of a command line.
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qInstallMessageHandler(quietQt);
  int argc = 1;
  char name[] = "cumulex";
  char* argv[] = {name, nullptr};
  QGuiApplication app(argc, argv);
  // The run is known by its folder; its setup is the folder's working copy.
  fs::path named = fs::absolute(dir).lexically_normal();
  if (named.filename().empty()) named = named.parent_path();
  const QString setupName =
      QString::fromStdString(named.filename().string() + " [" + std::string(kSetupFileName) + "]");

  if (!o.allIterations) {
    int wanted = o.iteration;
    if (wanted < 0) {
      wanted = lastCompleteIteration(text, file.string(), *column);
      if (wanted < 0) return fail(file.string() + " holds no complete iteration");
    } else if (std::find(saved.begin(), saved.end(), wanted) == saved.end()) {
      return fail("--iteration " + std::to_string(wanted) + ": " + file.string() +
                  " holds no such iteration; its iterations are " + describeIterations(saved));
    }
    // Iteration 0 gives the initial profiles (the red curves) of every later one.
    if (wanted != 0 && saved.front() == 0) {
      if (const auto r0 = parseIteration(text, file.string(), 0, *column); !r0.ok)
        std::cerr << "cumulex plot: note: the initial curves are missing: " << r0.message << '\n';
    }
    const auto r = parseIteration(text, file.string(), wanted, *column);
    if (!r.ok) return fail(r.message);
    if (!r.note.empty()) std::cerr << "cumulex plot: note: " << r.note << '\n';
    restoreFluidizationRatio(*column, settings);
    const std::string problem = plot::writeFigure(out, *format, size, *column, requests,
                                                  plot::figureTitle(*column, setupName));
    if (!problem.empty()) {
      std::cerr << "cumulex plot: " << problem << '\n';
      return 1;
    }
    std::cout << "Wrote " << out.string() << " (iteration " << column->Iteration << ")\n";
    return 0;
  }

  // The film: one picture per saved iteration, in the order of the file.
  std::error_code ec;
  fs::create_directories(out, ec);
  if (ec || !fs::is_directory(out))
    return fail("--out: cannot make the folder " + out.string() +
                (ec ? ": " + ec.message() : std::string()));
  RecordingDiagnostics diag;
  std::string problem;
  int written = 0;
  replayIterations(dir, *column, diag, [&](int n) {
    std::ostringstream frameName;
    frameName << "iteration-" << std::setw(5) << std::setfill('0') << n
              << plot::extensionOf(*format);
    restoreFluidizationRatio(*column, settings);
    problem = plot::writeFigure(out / frameName.str(), *format, size, *column, requests,
                                plot::figureTitle(*column, setupName));
    if (problem.empty()) ++written;
    return problem.empty();
  });
  for (const auto& report : diag.reports) std::cerr << "cumulex plot:" << report << '\n';
  std::cout << "Wrote " << written << " picture" << (written == 1 ? "" : "s") << " to "
            << out.string() << '\n';
  if (!problem.empty()) {
    std::cerr << "cumulex plot: " << problem << '\n';
    return 1;
  }
  return diag.reports.empty() ? 0 : 1;
}

}  // namespace

void addPlotCommand(CLI::App& app, int& exitCode) {
  auto o = std::make_shared<PlotOptions>();
  auto* plot = app.add_subcommand(
      "plot", "Draw the graphs of a saved iteration to a PNG, SVG or PDF file (no display needed)");
  plot->add_option("dir", o->dir, "Working folder of a run")->required();
  auto* iteration =
      plot->add_option("--iteration", o->iteration, "Iteration to draw (default: the last saved)")
          ->check(CLI::Range(0, kMaxIteration));
  plot->add_flag("--all-iterations", o->allIterations,
                 "One picture per saved iteration into the folder given to --out")
      ->excludes(iteration);
  plot->add_option("--graphs", o->graphs,
                   "One to four properties, comma separated (default: the setup's graphs)");
  plot->add_option("--oxide", o->oxide, "Oxide of the oxide graphs (default: the setup's)");
  plot->add_option("--trace", o->trace, "Trace element of the trace graphs (default: the setup's)");
  plot->add_option("--bounds", o->bounds,
                   "GRAPH=LOWER:UPPER typed bounds of a graph's value axis (repeatable)")
      ->allow_extra_args(false);  // one value each time, so the folder is never taken for one
  plot->add_option("--out", o->out,
                   "Picture file (.png, .svg, .pdf), or folder with --all-iterations")
      ->required();
  plot->add_option("--format", o->format,
                   "Format of the pictures of --all-iterations (png, svg, pdf)");
  plot->add_option("--size", o->size, "Picture size WIDTHxHEIGHT in pixels (default 1600x900)");
  plot->callback([o, &exitCode] { exitCode = plotCommand(*o); });
}

}  // namespace cx::cli
