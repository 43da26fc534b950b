// Makes the per-class objects and the message tables from the protocol's definition file.
// usage: vorsel-generator <definition file> <output folder>

#include "protocol/generator/definition.h"
#include "protocol/generator/writer.h"

#include <cstdio>

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fputs("usage: vorsel-generator <definition file> <output folder>\n", stderr);
        return 2;
    }
    QString error;
    const Definition definition = readDefinition(QString::fromLocal8Bit(argv[1]), &error);
    if (error.isEmpty())
        error = writeSources(definition, QString::fromLocal8Bit(argv[2]));
    if (!error.isEmpty()) {
        std::fprintf(stderr, "%s: %s\n", argv[1], qPrintable(error));
        return 1;
    }
    return 0;
}
