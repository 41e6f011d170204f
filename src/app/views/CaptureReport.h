#pragma once

#include <QList>
#include <QRect>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class AppState;
class QPainter;
class QWidget;

// The report of the capture in AppState, for someone who wasn't there: a PDF of the results screen's own
// cards and charts laid out on pages, and a picture of its first page. The widgets are the screen's,
// built off screen at the page's width and drawn into the PDF, so text stays text and charts stay
// vector. AppState must hold the capture for as long as the report lives.
class CaptureReport {
public:
    // The width that a page's content is laid out at, in the widgets' own pixels; the page scales it.
    static constexpr int contentWidth = 1000;
    // The summary picture's width, for chat and e-mail.
    static constexpr int pictureWidth = 1200;

    // Told how many of the report's pieces are drawn and of how many; false cancels the report.
    using Progress = std::function<bool(int done, int total)>;

    explicit CaptureReport(AppState& state);
    ~CaptureReport();
    CaptureReport(const CaptureReport&) = delete;
    CaptureReport& operator=(const CaptureReport&) = delete;

    // An error message, or nothing once the file is written; a cancelled report leaves no file.
    std::optional<QString> writePdf(const QString& path, const Progress& progress = {});
    std::optional<QString> writePicture(const QString& path);
    int pageCount() const;

private:
    // A piece of the report that goes on one page whole: a part of a widget, a row of the timeline.
    struct Piece {
        QWidget* widget = nullptr;
        QRect source;                   // in the widget's coordinates
        std::optional<int> timelineRow; // shows this row of the timeline before it is drawn
    };
    struct Placed {
        int page = 0;
        int top = 0;
    };

    void build();
    QList<Placed> paginate(int pageHeight) const;
    QWidget* buildFirstPage(QWidget* parent);
    QWidget* buildWarnings(QWidget* parent);

    AppState& m_state;
    QString m_captureFile; // the capture's file name, for the footer
    std::unique_ptr<QWidget> m_root;
    QWidget* m_firstPage = nullptr;
    QList<Piece> m_pieces;
    std::function<void(int row)> m_showTimelineRow;
};
