#include "remote/remote_reference.h"

#include <algorithm>

#include "acquisition/recording_words.h"
#include "display/commands/commands.h"
#include "remote/command_keys.h"
#include "remote/remote_requests.h"

namespace kymora {
namespace {

constexpr std::string_view generated =
    "<!-- Written by scripts/reference from the program's own tables; changes belong there. -->\n";

constexpr std::string_view introduction = R"(# Remote control

    kymora --remote PORT [FILE...]

lets other programs, such as Python or MATLAB, drive the window: open recordings, run any command of the menus, move
through the data, read and write events, and fetch pictures. It is off unless asked for, listens on the loopback
address (127.0.0.1) only, and takes whoever shows the token. PORT 0 lets the system choose a port. The program prints
one line on its standard output when it listens:

    {"port": 41725, "token": "6f1c..."}

Sender and program exchange lines of text, UTF-8 with "\n" at the end. The first line a sender writes is

    {"token": "6f1c..."}

and each further one is a request, a JSON object. Each gets one line as its answer, in the order of the requests:
`{"ok": true, ...}`, or `{"ok": false, "error": "..."}` with the reason. Read the answers before you close the
connection; requests that are not answered by then may not be run.

- A line without the right token, one that is no JSON object and one above 1 MiB end the connection, behind a line that
  says why. The first line has 10 s. Up to four senders can be connected.
- Requests of all senders run one after the other. Further requests of a sender wait while it does not read its
  answers, and all wait while the program reads a long stretch of data with its progress shown.
- No dialog stops a request. Values that a command asks for come from `answers`, files from `file` and `files`,
  answers to questions from `yes`; what the program says stands in the answer as `messages`, `questions`, `forms` and
  `texts`. To learn what a command asks for, send it without `answers`: it changes nothing, and `forms` in the answer
  describes the dialog.
- While the person at the screen has a dialog or menu open, requests that change something are refused.
- Traces and axes count from 1, as in the window; recordings, events and channels by number from 0.
)";

constexpr std::string_view examples = R"(
## From Python

The standard library is all it takes; `scripts/kymora_remote.py` is a ready client.

```python
import json, socket, subprocess

program = subprocess.Popen(["kymora", "--remote", "0", "cell7.edf"], stdout=subprocess.PIPE, text=True)
started = json.loads(program.stdout.readline())
connection = socket.create_connection(("127.0.0.1", started["port"]))
lines = connection.makefile("rw", encoding="utf-8", newline="\n")

def ask(**request):
    lines.write(json.dumps(request) + "\n")
    lines.flush()
    answer = json.loads(lines.readline())
    if not answer["ok"]:
        raise RuntimeError(answer["error"])
    return answer

ask(token=started["token"])
ask(command="show-all")
ask(addEvents={"channel": "b", "unit": "ms", "events": [{"on": 12.5, "off": 14.0}]})
ask(wait=True)
ask(png=True, file="/tmp/cell7.png", yes=True)
print(ask(state=True)["documents"][0]["viewport"])
ask(quit=True, discard=True)
```

## From MATLAB

Start the program with `kymora --remote 41725 cell7.edf` and copy the token that it prints.

```matlab
t = tcpclient("127.0.0.1", 41725, "Timeout", 30);
configureTerminator(t, "LF");
ask = @(request) askKymora(t, request);

ask(struct("token", "6f1c..."));
ask(struct("viewport", struct("start", 0, "end", 1000)));
ask(struct("command", "autoscale", "ctrl", true));
ask(struct("wait", true));
reply = ask(struct("events", struct("channel", "a", "unit", "ms")));
onsets = [reply.events.on];

function reply = askKymora(t, request)
    writeline(t, jsonencode(request));
    reply = jsondecode(readline(t));
    if ~reply.ok, error(reply.error); end
end
```

A list of one event is a list for the program, too: write `{{struct(...)}}` inside `struct`, so that `jsonencode` keeps
its brackets.
)";

// In a table, a bar would end the cell.
std::string Cell(std::string_view text) {
    std::string cell;
    for (const char c : text) cell += c == '|' ? std::string("\\|") : std::string(1, c);
    return cell;
}

std::string Code(std::string_view text) { return "`" + std::string(text) + "`"; }

void AppendRequest(std::string& to, const RemoteRequest& request) {
    to += "\n### " + Code(request.name) + "\n\n";
    to += "Value: " + std::string(request.value) + ". " + std::string(request.text) + "\n";
    if (!request.members.empty()) to += "\n";
    for (const RemoteMember& member : request.members)
        to += "- " + Code(member.name) + ": " + std::string(member.text) + "\n";
    to += "\n```json\n";
    for (const std::string_view example : request.examples) to += std::string(example) + "\n";
    to += "```\n";
}

struct Row {
    std::string id, menu, label, key, toolTip;
};

// All commands in the order of the menus, as far as each table has them.
std::vector<Row> AllCommands(std::span<const RemoteCommand> frame) {
    std::vector<Row> rows;
    for (const RemoteCommand& command : frame)
        rows.push_back({command.id, command.menu, command.label, command.key, command.toolTip});
    for (const Command& command : ViewCommands())
        rows.push_back({std::string(command.id), PlainLabel(command.menu), PlainLabel(command.label),
                        KeyText(command), std::string(command.toolTip)});
    return rows;
}

std::string TopMenu(const Row& row) { return row.menu.substr(0, row.menu.find('/')); }

// The menus in the order in which they appear first, File before all others.
std::vector<std::string> MenusOf(const std::vector<Row>& rows) {
    std::vector<std::string> menus;
    for (const Row& row : rows)
        if (std::find(menus.begin(), menus.end(), TopMenu(row)) == menus.end()) menus.push_back(TopMenu(row));
    // Window and Help stand behind the menus of the view.
    std::stable_partition(menus.begin(), menus.end(),
                          [](const std::string& menu) { return menu != "Window" && menu != "Help"; });
    return menus;
}

std::string WhereIn(const Row& row) {
    const size_t slash = row.menu.find('/');
    if (slash == std::string::npos) return row.label;
    std::string path = row.menu.substr(slash + 1);
    for (size_t at = 0; (at = path.find('/', at)) != std::string::npos; at += 3) path.replace(at, 1, " > ");
    return path + " > " + row.label;
}

}  // namespace

std::string RemoteReference(std::span<const RemoteCommand> frame) {
    std::string text = std::string(generated) + std::string(introduction);
    text += "\n## Members of every request\n\n";
    for (const RemoteMember& member : CommonMembers())
        text += "- " + Code(member.name) + ": " + std::string(member.text) + "\n";
    text += "\n## Requests\n\nA line holds exactly one of them.\n";
    for (const RemoteRequest& request : RemoteRequests()) AppendRequest(text, request);
    text +=
        "\n## Commands\n\nThe ids for `command`. Commands of the view work on `document`, the others on the "
        "program.\n";
    const std::vector<Row> rows = AllCommands(frame);
    for (const std::string& menu : MenusOf(rows)) {
        text += "\n### " + menu + "\n\n| id | command | what it does |\n|---|---|---|\n";
        for (const Row& row : rows)
            if (TopMenu(row) == menu)
                text += "| " + Code(row.id) + " | " + Cell(WhereIn(row)) + " | " + Cell(row.toolTip) + " |\n";
    }
    return text + std::string(examples);
}

std::string ShortcutReference(std::span<const RemoteCommand> frame) {
    std::string text =
        std::string(generated) +
        "# Keys\n\nThe keys of the commands. Ctrl held with a key of the Gain menu makes it act on all "
        "axes. ESC abandons what the mouse does, then its mode, then the selection.\n";
    const std::vector<Row> rows = AllCommands(frame);
    for (const std::string& menu : MenusOf(rows)) {
        const auto hasKey = [&](const Row& row) { return TopMenu(row) == menu && !row.key.empty(); };
        if (std::none_of(rows.begin(), rows.end(), hasKey)) continue;
        text += "\n## " + menu + "\n\n| key | command | what it does |\n|---|---|---|\n";
        for (const Row& row : rows)
            if (hasKey(row))
                text +=
                    "| " + Cell(row.key) + " | " + Cell(WhereIn(row)) + " | " + Cell(row.toolTip) + " |\n";
    }
    text += "\n## The window to record in\n\n| key | command | what it does |\n|---|---|---|\n";
    for (const RecordingKey& key : RecordingKeys())
        if (!key.key.empty())
            text += "| " + Cell(key.key) + " | " + Cell(PlainLabel(key.label)) + " | " + Cell(key.toolTip) +
                    " |\n";
    return text;
}

}  // namespace kymora
