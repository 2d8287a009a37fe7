// Owns the clipboard: offers the first line of the standard input until it is ended.
#include <QClipboard>
#include <QGuiApplication>

#include <cstdio>
#include <iostream>
#include <string>

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    std::string line;
    std::getline(std::cin, line);
    QGuiApplication::clipboard()->setText(QString::fromStdString(line));
    std::puts("offered");
    std::fflush(stdout);
    return QGuiApplication::exec();
}
