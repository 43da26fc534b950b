// What bench_start compares with: the least that a program with a main window is.

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
