#include <QApplication>

#include "mainwindow/mainwindow.h"
#include "protocol/types.h"

int main(int argc, char *argv[])
{
    // Only heeded before the application object exists.
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication app(argc, argv);
    register_meta_types();
    MainWindow window;
    window.show();
    return app.exec();
}
