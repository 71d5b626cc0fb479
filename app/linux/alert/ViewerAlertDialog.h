#pragma once

#include <QBoxLayout>
#include <QDialog>
#include <QLabel>
#include <string>
#include <vector>

#include "app/ViewerAlert.h"
#include "app/linux/alert/ViewerAccidentFilter.h"

namespace velmora {

class ViewerAlertTexts;

/// The window of one alert: the style's icon, the texts and the buttons in order. Accepted by the
/// first button, which Return presses too; rejected by the other one, by Escape and by closing the
/// window. Nothing is pressed by accident. Made and used on the thread of the user interface.
class ViewerAlertDialog final : public QDialog {
  public:
    explicit ViewerAlertDialog(const ViewerAlert& alert);

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    QLabel* makeIcon(ViewerAlertStyle alertStyle);
    QBoxLayout* makeButtons(const std::vector<std::string>& texts);
    void fitToScreen(QBoxLayout& buttons);

    ViewerAlertTexts* texts_ = nullptr;
    ViewerAccidentFilter accidents_;
};

}  // namespace velmora
