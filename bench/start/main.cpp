// From process start to the window's first paint, seen from outside: a pixel of a black screen that changes.
// Needs an X display with nothing on it and no window manager, as xvfb-run gives.

#include "bench/common/figure.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QProcess>
#include <QScreen>

namespace {

constexpr int rounds = 11;
constexpr qint64 timeoutMs = 20000;

QRgb watchedPixel()
{
    return QGuiApplication::primaryScreen()->grabWindow(0, 200, 200, 1, 1).toImage().pixel(0, 0);
}

void waitFor(bool painted, QRgb bare)
{
    QElapsedTimer timer;
    timer.start();
    while ((watchedPixel() != bare) != painted) {
        if (timer.hasExpired(timeoutMs))
            qFatal("the screen did not change");
    }
}

double startMs(const QString &path)
{
    const QRgb bare = watchedPixel();
    QProcess program;
    program.setProgram(path);
    program.setWorkingDirectory(QFileInfo(path).path());
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer timer;
    timer.start();
    program.start();
    waitFor(true, bare);
    const double milliseconds = double(timer.nsecsElapsed()) / 1e6;
    program.kill();
    program.waitForFinished();
    waitFor(false, bare);
    return milliseconds;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "xcb");
    qunsetenv("QT_XCB_GL_INTEGRATION"); // whether OpenGL is loaded is the programs' own choice
    QGuiApplication application(argc, argv);
    std::vector<double> ours;
    std::vector<double> empty;
    std::vector<double> ratios;
    for (int i = 0; i < rounds; ++i) {
        empty.push_back(startMs(QStringLiteral(EMPTY_PROGRAM)));
        ours.push_back(startMs(QStringLiteral(VORSEL_PROGRAM)));
        ratios.push_back(ours.back() / empty.back());
    }
    return printFigure("start_ms", median(ours), median(empty), median(ratios), Budget::atMost, 1.3) ? 0 : 1;
}
