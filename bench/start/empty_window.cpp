// What bench_start compares with: an empty main window with Qt's defaults, which load OpenGL.

#include <QApplication>
#include <QMainWindow>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QMainWindow window;
    window.resize(1091, 838);
    window.show();
    return QApplication::exec();
}
