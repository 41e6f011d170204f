#pragma once

#include "screens/UpdateNotices.h"

#include <QWidget>

class AppState;
class QFrame;
class QLabel;
class QPushButton;
class UpdateLogger;
class VersionCheck;

// The update banner of the setup or the results screen: orange with white text while the build is
// below the minimum, neutral while a newer version only waits. It takes no room while there is nothing
// to tell.
class UpdateBannerView : public QWidget {
    Q_OBJECT

public:
    UpdateBannerView(UpdateBanner::Place place, VersionCheck& versionCheck, UpdateLogger& updateLogger,
                     AppState& state, QWidget* parent = nullptr);

    QFrame* frame() const { return m_frame; }
    QLabel* textLabel() const { return m_text; }
    QLabel* captionLabel() const { return m_caption; }
    QPushButton* button() const { return m_button; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void refresh();
    void applyColours();

    UpdateBannerModel* m_model = nullptr;
    std::optional<UpdateBanner> m_shown;
    QFrame* m_frame = nullptr;
    QLabel* m_icon = nullptr;
    QLabel* m_text = nullptr;
    QLabel* m_caption = nullptr;
    QPushButton* m_button = nullptr;
};
