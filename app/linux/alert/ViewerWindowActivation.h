#pragma once

#include <QEvent>
#include <QObject>
#include <QWidget>

namespace velmora {

/// Asks for the focus for a window once it is there: compositors pass over a request for a window
/// that has shown nothing yet. Belongs to the window; the thread of the user interface.
class ViewerWindowActivation final : public QObject {
  public:
    /// Of a window that was shown.
    static void ofWindow(QWidget& window);

    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    explicit ViewerWindowActivation(QWidget& window) : QObject(&window), window_(window) {}

    QWidget& window_;
};

}  // namespace velmora
