#include "CommandLine.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    return Tesk::Command::CommandLine::run(argc, argv);
}
