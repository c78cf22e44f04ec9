#include "platform/PanelShell.h"

#include <QTest>

using Kind = PanelShell::Kind;
Q_DECLARE_METATYPE(PanelShell::Kind)

class TestPanelShell : public QObject {
    Q_OBJECT

private slots:
    void decide_data()
    {
        QTest::addColumn<QString>("forced");
        QTest::addColumn<QString>("qpa");
        QTest::addColumn<int>("wayland"); // 0 none answers, 1 without layer-shell, 2 with it
        QTest::addColumn<Kind>("expected");
        QTest::newRow("X11 session") << ""
                                     << "" << 0 << Kind::X11;
        QTest::newRow("sway or KWin") << ""
                                      << "" << 2 << Kind::LayerShell;
        QTest::newRow("GNOME") << ""
                               << "" << 1 << Kind::XWayland;
        // What the session calls itself does not count, only what answers.
        QTest::newRow("stale Wayland variables in X11") << ""
                                                        << "" << 0 << Kind::X11;
        QTest::newRow("forced x11 on sway") << "x11"
                                            << "" << 2 << Kind::X11;
        QTest::newRow("forced xwayland on sway") << "xwayland"
                                                 << "" << 2 << Kind::XWayland;
        QTest::newRow("forced layer-shell") << "layer-shell"
                                            << "" << 2 << Kind::LayerShell;
        QTest::newRow("unknown forced name ignored") << "weston"
                                                     << "" << 2 << Kind::LayerShell;
        QTest::newRow("user asked for xcb on sway") << ""
                                                    << "xcb" << 2 << Kind::XWayland;
        QTest::newRow("user asked for xcb on X11") << ""
                                                   << "xcb" << 0 << Kind::X11;
        QTest::newRow("user asked for wayland on KWin") << ""
                                                        << "wayland" << 2 << Kind::LayerShell;
        QTest::newRow("user asked for wayland on GNOME") << ""
                                                         << "wayland" << 1 << Kind::XWayland;
        QTest::newRow("user asked for offscreen") << ""
                                                  << "offscreen" << 2 << Kind::X11;
    }
    void decide()
    {
        QFETCH(QString, forced);
        QFETCH(QString, qpa);
        QFETCH(int, wayland);
        QFETCH(Kind, expected);
        PanelShell::Session session;
        session.forced = forced;
        session.qpaPlatform = qpa;
        if (wayland > 0)
            session.wayland = PanelShell::WaylandProbe{wayland == 2};
        QCOMPARE(PanelShell::decide(session), expected);
    }

    void names()
    {
        for (Kind kind : {Kind::X11, Kind::XWayland, Kind::LayerShell})
            QCOMPARE(PanelShell::fromName(PanelShell::name(kind)), kind);
        QCOMPARE(PanelShell::name(Kind::LayerShell), u"layer-shell"_qs);
        QVERIFY(!PanelShell::fromName(u"Wayland"_qs));
    }

    // No compositor in a plain test run: the probe says so instead of failing.
    void probeWithoutCompositor()
    {
        qputenv("WAYLAND_DISPLAY", "tallowfern-test-no-such-display");
        QVERIFY(!PanelShell::probeWayland());
    }
};

QTEST_GUILESS_MAIN(TestPanelShell)
#include "tst_panelshell.moc"
