// The desktop program's port.  The run works on a worker thread; what it asks of the interface
// is carried over to the window's thread here:
//  - texts (status, module, labels, events) are queued to the window in the order they come;
//  - messages and yes/no questions block the run until the window has answered them;
//  - progress reports and results are coalesced: the run hands over a copy of the column (or of
//    the minimizer's report) and goes on, and the window draws the latest one when it has time,
//    so that a slow redraw never slows the run and never reads the column while the run writes it;
//  - the window's requests (halt, snapshot) reach the run only at its turns (doEvents), the
//    places where the run expects the interface to act.
#pragma once

#include <QObject>
#include <QString>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "base/port.h"
#include "column/column.h"

namespace cx::desktop {

class GuiPort : public QObject, public Port {
  Q_OBJECT

 public:
  explicit GuiPort(QObject* parent = nullptr);

  // --- What the logic calls (from the worker thread or the window's own) -------------------
  void setStatus(std::string_view text) override;
  void setModuleId(std::string_view text) override;
  void setLabel(std::string_view name, std::string_view text) override;
  void appendEvent(std::string_view text) override;
  void showMessage(std::string_view text) override;
  bool askYesNo(std::string_view question) override;
  void beep() override;
  void doEvents() override;
  // Between two iterations: holds the run while a pause is asked for (until resume or halt).
  bool iterationTurn() override;
  void showProgress(const ProgressInfo& info) override;
  void plotResults() override;

  // A frame of the film: hands the column over like plotResults, then waits until the window
  // has shown it (or a halt is asked for), so that no frame is skipped.
  void presentFrame();

  // --- The window's side ----------------------------------------------------------------------
  // The column the jobs work on and the run's halt flag.
  void attach(Column* column, std::atomic<bool>* haltFlag);
  // Asks the run to halt at its next turn (the flag itself is also raised at once, so that a
  // process that tests it at its own pace stops too).
  void requestHalt();
  // Asks for a snapshot at the end of the present iteration; the run takes it at its next turn.
  void requestSnapshot();
  // Asks the run to wait at its next turn between two iterations; `held` is signalled once it
  // does.  While it waits the window may edit the column and the settings: the run touches
  // nothing until resume() (or a halt) lets it go on.
  void requestPause();
  void resume();
  // Forgets the requests of a job that ended.
  void clearRequests();
  bool haltRequested() const { return haltRequested_.load(); }
  // Called on the worker thread at each turn, with the iteration in hand, before the window's
  // requests are taken: lets a test act exactly when the run is at a turn of a given iteration.
  void setTurnObserver(std::function<void(int iteration)> observer) {
    turnObserver_ = std::move(observer);
  }

  // The latest copy of the column handed over, or null when nothing new came.
  std::shared_ptr<const Column> takeResults();
  // The latest minimizer report, if a new one came.
  std::optional<ProgressInfo> takeProgress();

  // How questions and messages are shown (on the window's thread): dialogs in the program, a
  // scripted answer in tests.
  void setAsker(std::function<bool(const QString&)> asker) { asker_ = std::move(asker); }
  void setTeller(std::function<void(const QString&)> teller) { teller_ = std::move(teller); }

 signals:
  void statusChanged(const QString& text);
  void moduleIdChanged(const QString& text);
  void labelChanged(const QString& name, const QString& text);
  void eventAppended(const QString& text);
  void beeped();
  void progressReady();
  void resultsReady();
  // The run waits between iterations, the last whole one being `iteration`.
  void held(int iteration);

 private:
  bool onWindowThread() const;
  // Runs `f` on the window's thread after everything queued before it.
  void post(std::function<void()> f);
  void handOverColumn();

  Column* column_ = nullptr;
  std::atomic<bool>* haltFlag_ = nullptr;
  std::atomic<bool> haltRequested_{false};
  std::atomic<bool> snapshotRequested_{false};
  bool pauseRequested_ = false;  // guarded by mutex_
  std::condition_variable resumed_;

  std::mutex mutex_;
  std::condition_variable frameShown_;
  std::shared_ptr<Column> pendingResults_;  // guarded by mutex_
  bool resultsPosted_ = false;              // guarded by mutex_
  std::optional<ProgressInfo> pendingProgress_;
  bool progressPosted_ = false;

  std::function<bool(const QString&)> asker_;
  std::function<void(const QString&)> teller_;
  std::function<void(int)> turnObserver_;
};

}  // namespace cx::desktop
