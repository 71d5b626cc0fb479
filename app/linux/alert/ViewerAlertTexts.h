#pragma once

#include <QKeyEvent>
#include <QScrollArea>

#include "app/ViewerAlert.h"

namespace velmora {

/// The title and the informative text of an alert, which scroll where they get less room than they
/// want: by the mouse, and by the keys that the window gets, whichever of its parts has the focus.
/// Belongs to the alert's dialog; the thread of the user interface.
class ViewerAlertTexts final : public QScrollArea {
  public:
    explicit ViewerAlertTexts(const ViewerAlert& alert);

    /// In pixels.
    void limitWidth(int width) { widthLimit_ = width; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    /// Of the window, to see its keys.
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    /// Whether the key scrolls, and there is something to scroll.
    bool scrollBy(const QKeyEvent& key);

    int widthLimit_ = QWIDGETSIZE_MAX;
};

}  // namespace velmora
