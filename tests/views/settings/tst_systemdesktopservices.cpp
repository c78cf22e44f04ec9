#include "SystemDesktopServices.h"
#include "support/StoreFixture.h"

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>

// The real folder dialog, answered by the test once it is up.
class TestSystemDesktopServices : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;

    // Runs `answer` on the dialog as soon as it shows.
    static void whenShown(std::function<void(QFileDialog *)> answer)
    {
        auto *poll = new QTimer;
        poll->setInterval(20);
        QObject::connect(poll, &QTimer::timeout, poll, [poll, answer = std::move(answer)] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            if (!dialog || !dialog->isVisible())
                return;
            poll->stop();
            poll->deleteLater();
            answer(dialog);
        });
        poll->start();
    }

private slots:
    void init() { m_scratch = std::make_unique<Scratch>(); }

    void installsItself()
    {
        QCOMPARE(DesktopServices::current(), nullptr);
        {
            SystemDesktopServices services(nullptr);
            DesktopServices::setCurrent(&services);
            QCOMPARE(DesktopServices::current(), &services);
        }
        QCOMPARE(DesktopServices::current(), nullptr);
    }

    void chosenFolder()
    {
        const QString start = m_scratch->vault();
        const QString wanted = m_scratch->vault() + u"/Plans"_qs;
        QVERIFY(QDir().mkpath(wanted));
        QString title;
        QString shownIn;
        bool foldersOnly = false;
        whenShown([&](QFileDialog *dialog) {
            title = dialog->windowTitle();
            shownIn = dialog->directory().absolutePath();
            foldersOnly = dialog->fileMode() == QFileDialog::Directory &&
                          dialog->testOption(QFileDialog::ShowDirsOnly) &&
                          !dialog->testOption(QFileDialog::ReadOnly);
            // Typed, as selecting in the list waits for the folder to be read.
            auto *name = dialog->findChild<QLineEdit *>(u"fileNameEdit"_qs);
            QVERIFY(name);
            name->setText(wanted);
            static_cast<QDialog *>(dialog)->accept(); // QFileDialog hides it
        });
        SystemDesktopServices services(nullptr);
        const std::optional<QString> chosen =
            services.chooseFolder(u"Choose your Obsidian vault folder"_qs, start);
        QCOMPARE(title, u"Choose your Obsidian vault folder"_qs);
        QCOMPARE(shownIn, start);
        QVERIFY(foldersOnly);
        QCOMPARE(chosen.value_or(u"(none)"_qs), wanted);
    }

    void cancelled()
    {
        whenShown([](QFileDialog *dialog) { dialog->reject(); });
        SystemDesktopServices services(nullptr);
        QCOMPARE(services.chooseFolder(u"Choose"_qs, m_scratch->vault()), std::nullopt);
    }

    // Without a file manager to reach, revealing does nothing rather than fail.
    void revealWithoutRevealer()
    {
        SystemDesktopServices services(nullptr);
        services.reveal(m_scratch->vault());
    }
};

QTEST_MAIN(TestSystemDesktopServices)
#include "tst_systemdesktopservices.moc"
