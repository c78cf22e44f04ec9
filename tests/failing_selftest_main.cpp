#include "app/Main.h"
#include "app/SelfTest.h"
#include "model/Board.h"

#include <cstdio>

// The real entry point, with a self-test whose reader ignores the completed-lane marker.
int main(int argc, char **argv)
{
    return Main::exec(argc, argv, [] {
        SelfTest::Subjects subjects = SelfTest::Subjects::real();
        subjects.parse = [](const QString &text) {
            QString without = text;
            without.replace(u"**Complete**"_qs, QString());
            return Board::parse(without);
        };
        return SelfTest::run(
            subjects, [](const QString &line) { std::printf("%s\n", line.toUtf8().constData()); });
    });
}
