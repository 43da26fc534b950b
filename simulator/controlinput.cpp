#include "simulator/controlinput.h"

namespace simulator {
namespace {

constexpr int longestLine = 8192; // bytes

} // namespace

ControlInput::ControlInput(int descriptor, QObject *parent)
    : QObject(parent)
    , input(descriptor)
{
    connect(&input, &ByteInput::received, this, &ControlInput::cutIntoLines);
}

QString ControlInput::help()
{
    return QStringLiteral(
        "  send-hex HEX              send these bytes as they are\n"
        "  remote-write HANDLE HEX   write a local attribute as a remote device would; one of a user\n"
        "                            attribute waits for user_write_response\n"
        "  remote-read HANDLE        read one; a user attribute's value is asked for by the event\n"
        "                            user_read_request and taken from user_read_response\n"
        "  move ADDRESS public|random in|out\n"
        "                            put a remote device into or out of range, where it then stays\n"
        "  hang-up CONNECTION        end a connection as the remote device would\n"
        "  pins PORT LEVELS [MASK]   drive the pins of a port that are in MASK (all) from outside, a bit a "
        "pin\n"
        "                            in hex; inputs that nothing drives show their pull, or 0 without one\n"
        "  comparator 0|1            set what the analog comparator sees\n"
        "  dump FILE [ADDRESS [SIZE]]\n"
        "                            write the flash from ADDRESS on, or SIZE bytes of it, to a file as it\n"
        "                            is; numbers in hex, no blanks in the name\n"
        "  dump-ota FILE             write the image that \"Updatable\" got over the air to a file\n"
        "  count                     say how many frames were written since the start, how many of them "
        "were\n"
        "                            scan responses, and of how many devices (even with --quiet)\n"
        "  unplug                    close the port and end\n"
        "  quit                      end\n"
        "  SETTING VALUE             as the option of that name, for instance \"lose 1\"\n");
}

void ControlInput::cutIntoLines(const QByteArray &bytes)
{
    unfinished += bytes;
    int start = 0;
    for (int end = unfinished.indexOf('\n'); end >= 0; end = unfinished.indexOf('\n', start)) {
        const QByteArray line = unfinished.mid(start, end - start);
        if (line.size() > longestLine)
            Q_EMIT lineDropped(QString::fromUtf8(line.left(longestLine)));
        else
            Q_EMIT lineRead(QString::fromUtf8(line).trimmed());
        start = end + 1;
    }
    unfinished.remove(0, start);
    unfinished.truncate(longestLine + 1); // what else comes of a line that long is not kept
}

} // namespace simulator
