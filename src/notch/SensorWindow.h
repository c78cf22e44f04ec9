#pragma once

#include <QRasterWindow>

// The hover sensor over the notch: a tiny window that is all but invisible and yet takes the
// pointer, so that the desktop reports when the pointer comes and goes.
class SensorWindow : public QRasterWindow {
    Q_OBJECT

public:
    explicit SensorWindow(QWindow *parent = nullptr);

signals:
    void entered();
    void exited();

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
};
