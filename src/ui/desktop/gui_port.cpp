#include "ui/desktop/gui_port.h"

#include <QApplication>
#include <QThread>
#include <chrono>

namespace cx::desktop {

namespace {
QString qs(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
}  // namespace

GuiPort::GuiPort(QObject* parent) : QObject(parent) {}

void GuiPort::attach(Column* column, std::atomic<bool>* haltFlag) {
  column_ = column;
  haltFlag_ = haltFlag;
}

bool GuiPort::onWindowThread() const {
  return QThread::currentThread() == thread();
}

void GuiPort::post(std::function<void()> f) {
  // On the window's own thread (a load, an open) the window is told at once; everything a job
  // posted has been delivered before the window learnt that the job ended.
  if (onWindowThread()) {
    f();
    return;
  }
  QMetaObject::invokeMethod(this, std::move(f), Qt::QueuedConnection);
}

void GuiPort::setStatus(std::string_view text) {
  post([this, t = qs(text)] { emit statusChanged(t); });
}

void GuiPort::setModuleId(std::string_view text) {
  post([this, t = qs(text)] { emit moduleIdChanged(t); });
}

void GuiPort::setLabel(std::string_view name, std::string_view text) {
  post([this, n = qs(name), t = qs(text)] { emit labelChanged(n, t); });
}

void GuiPort::appendEvent(std::string_view text) {
  post([this, t = qs(text)] { emit eventAppended(t); });
}

void GuiPort::beep() {
  post([this] {
    QApplication::beep();
    emit beeped();
  });
}

void GuiPort::showMessage(std::string_view text) {
  const QString t = qs(text);
  auto tell = [this, t] {
    if (teller_) teller_(t);
  };
  if (onWindowThread())
    tell();
  else
    // The run waits for the message to be read, as it would at a modal box.
    QMetaObject::invokeMethod(this, tell, Qt::BlockingQueuedConnection);
}

bool GuiPort::askYesNo(std::string_view question) {
  const QString q = qs(question);
  auto ask = [this, q] { return asker_ ? asker_(q) : false; };
  if (onWindowThread()) return ask();
  bool answer = false;
  QMetaObject::invokeMethod(this, ask, Qt::BlockingQueuedConnection, &answer);
  return answer;
}

void GuiPort::doEvents() {
  // The turn of the interface: the window's requests reach the run here and only here.
  if (turnObserver_ && column_ != nullptr) turnObserver_(column_->Iteration);
  if (haltRequested_.load() && haltFlag_ != nullptr) *haltFlag_ = true;
  if (snapshotRequested_.exchange(false) && column_ != nullptr) column_->SnapShotRequested = true;
}

bool GuiPort::iterationTurn() {
  bool wasHeld = false;
  {
    std::unique_lock lock(mutex_);
    if (pauseRequested_ && !haltRequested_.load() && !onWindowThread()) {
      wasHeld = true;
      const int iteration = column_ != nullptr ? column_->Iteration : 0;
      post([this, iteration] { emit held(iteration); });
      // The window edits the column and the settings only while this thread waits here; the
      // lock handed over on waking makes its edits visible to the run.
      resumed_.wait(lock, [this] { return !pauseRequested_ || haltRequested_.load(); });
      pauseRequested_ = false;
    }
  }
  doEvents();
  return wasHeld;
}

void GuiPort::requestPause() {
  std::lock_guard lock(mutex_);
  pauseRequested_ = true;
}

void GuiPort::resume() {
  std::lock_guard lock(mutex_);
  pauseRequested_ = false;
  resumed_.notify_all();
}

void GuiPort::requestHalt() {
  haltRequested_ = true;
  if (haltFlag_ != nullptr) *haltFlag_ = true;
  std::lock_guard lock(mutex_);
  frameShown_.notify_all();
  resumed_.notify_all();
}

void GuiPort::requestSnapshot() {
  snapshotRequested_ = true;
}

void GuiPort::clearRequests() {
  haltRequested_ = false;
  snapshotRequested_ = false;
  std::lock_guard lock(mutex_);
  pauseRequested_ = false;
}

void GuiPort::showProgress(const ProgressInfo& info) {
  {
    std::lock_guard lock(mutex_);
    pendingProgress_ = info;
    if (progressPosted_) return;
    progressPosted_ = true;
  }
  post([this] { emit progressReady(); });
}

std::optional<ProgressInfo> GuiPort::takeProgress() {
  std::lock_guard lock(mutex_);
  progressPosted_ = false;
  auto p = std::move(pendingProgress_);
  pendingProgress_.reset();
  return p;
}

void GuiPort::handOverColumn() {
  if (column_ == nullptr) return;
  // The copy is made outside the lock: only this thread writes the column, and the window only
  // ever reads the copies.
  auto copy = std::make_shared<Column>(*column_);
  {
    std::lock_guard lock(mutex_);
    pendingResults_ = std::move(copy);
    if (resultsPosted_) return;
    resultsPosted_ = true;
  }
  post([this] { emit resultsReady(); });
}

void GuiPort::plotResults() {
  handOverColumn();
}

void GuiPort::presentFrame() {
  handOverColumn();
  if (onWindowThread()) return;
  std::unique_lock lock(mutex_);
  while (resultsPosted_ && !haltRequested_.load())
    frameShown_.wait_for(lock, std::chrono::milliseconds(50));
}

std::shared_ptr<const Column> GuiPort::takeResults() {
  std::lock_guard lock(mutex_);
  resultsPosted_ = false;
  frameShown_.notify_all();
  return std::exchange(pendingResults_, nullptr);
}

}  // namespace cx::desktop
