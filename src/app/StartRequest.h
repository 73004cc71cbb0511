#pragma once
// What one start of the program asks for. "qosearch" shows the search
// window; "qosearch FILE.msg..." (how the file manager opens saved messages
// with this program) shows each file in the message viewer and no search
// window, unless "--search" asks for it too.

#include <QStringList>

struct StartRequest {
    QStringList files; // absolute paths, in the order given
    bool showSearch = true;
};

/// The request of the arguments after the program's name. Options other than
/// "--search" are left to others; "--" ends the options.
StartRequest parseStartArguments(const QStringList& arguments);

/// Shows each file in a message viewer window of its own.
void openMessageFiles(const QStringList& files);
