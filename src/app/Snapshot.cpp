#include "Snapshot.h"

#include <QDir>

void Snapshot::run(const QString &dir)
{
    QDir().mkpath(dir);
}
