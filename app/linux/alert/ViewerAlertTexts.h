#pragma once

#include <QScrollArea>

#include "app/ViewerAlert.h"

namespace velmora {

/// The title and the informative text of an alert, which scroll where they get less room than they
/// want. Belongs to the alert's dialog; the thread of the user interface.
class ViewerAlertTexts final : public QScrollArea {
  public:
    explicit ViewerAlertTexts(const ViewerAlert& alert);

    /// In pixels.
    void limitWidth(int width) { widthLimit_ = width; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  private:
    int widthLimit_ = QWIDGETSIZE_MAX;
};

}  // namespace velmora
