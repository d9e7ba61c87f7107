// The GUI-free core must not drag widget libraries into a process that links it.
#include "AnalysisChain.h"
#include "KelvaraVersion.h"

#include <QtTest>

class TestLayering : public QObject
{
    Q_OBJECT
private slots:
    void coreLoadsNoWidgetLibraries()
    {
        QVERIFY(kelvara::versionString()); // keep the core linked in
        QFile maps(QStringLiteral("/proc/self/maps"));
        QVERIFY(maps.open(QIODevice::ReadOnly));
        const QByteArray all = maps.readAll();
        QVERIFY(all.contains("libQt6Core")); // the check sees what is mapped
        QVERIFY2(!all.contains("libQt6Widgets"), "kelvara_core pulls in QtWidgets");
        QVERIFY2(!all.contains("libQt6DataVisualization"), "kelvara_core pulls in Data Visualization");
    }
};

QTEST_GUILESS_MAIN(TestLayering)
#include "test_layering.moc"
