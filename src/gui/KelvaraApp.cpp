#include "KelvaraApp.h"

#include "MainWindow.h"

#include <QApplication>

int runKelvara(int& argc, char** argv)
{
    QApplication app(argc, argv);
    int rc = 0;
    {
        MainWindow window;
        window.show();
        rc = QApplication::exec();
    } // the window goes before the application object
    return rc;
}
