#include <QApplication>

#include "mainwindow/mainwindow.h"
#include "protocol/types.h"
#include "widgets/windowfit.h"

int main(int argc, char *argv[])
{
    // Heeded only before the application object exists. At a factor of 1.5 the fonts grow and not the pixels,
    // which by whole factors would make a window larger than the screen.
    QApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::RoundPreferFloor);
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    // Loading OpenGL takes a third of the start, and the program does not use it.
    const char glVariable[] = "QT_XCB_GL_INTEGRATION"; // read on X11 alone
    if (!qEnvironmentVariableIsSet(glVariable))
        qputenv(glVariable, "none");
    QApplication app(argc, argv);
    register_meta_types();
    MainWindow window;
    window.resize(window.size().boundedTo(maxContentSize(&window)));
    window.show();
    return app.exec();
}
