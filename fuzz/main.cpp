// Runs a target over the files of the folders that are given.

#include "session.h"

#include <QDirIterator>

#include <cstdio>

int main(int argc, char** argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        for (QDirIterator files(QString::fromLocal8Bit(argv[i]), QDir::Files); files.hasNext(); ++count) {
            QFile file(files.next());
            if (!file.open(QIODevice::ReadOnly))
                qFatal("cannot read %s", qPrintable(file.fileName()));
            const QByteArray input = file.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.constData()),
                                   static_cast<size_t>(input.size()));
        }
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
