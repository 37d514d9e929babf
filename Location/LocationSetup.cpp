// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Location/LocationSetup.h"

namespace quillmount {
namespace {

constexpr std::string_view unitFolder = "/etc/systemd/system/";
constexpr std::string_view hostsLine = "127.0.0.1 Quillmount";

std::string text(std::string_view a) {
    return std::string(a);
}

// As one word of a shell.
std::string quoted(std::string_view word) {
    std::string result = "'";
    for (const char c : word) {
        if (c == '\'')
            result += "'\\''";
        else
            result += c;
    }
    return result + "'";
}

// As text of an XML element.
std::string escaped(std::string_view content) {
    std::string result;
    for (const char c : content) {
        if (c == '&')
            result += "&amp;";
        else
            result += c;
    }
    return result;
}

std::string joined(const std::vector<std::string> &commands) {
    std::string result;
    for (const std::string &command : commands)
        result += (result.empty() ? "" : " && ") + command;
    return result;
}

const std::string point = quoted(LocationSetup::mountPoint);
const std::string file = quoted(LocationSetup::daemonFile);
const std::string job = "system/" + text(LocationSetup::label);
const std::string service = text(LocationSetup::label) + ".service";
const std::string path = text(LocationSetup::label) + ".path";

// Another system may lack the group, and then the user alone owns the folder.
std::string giveMountPoint(unsigned uid) {
    const std::string id = std::to_string(uid);
    return "{ /bin/chown " + id + ":staff " + point + " 2>/dev/null || /bin/chown " + id + ' ' + point + "; }";
}

// Writes a text of ours into a file of root's.
std::string write(std::string_view content, const std::string &name) {
    return "printf '%s' " + quoted(content) + " > " + quoted(name);
}

const std::string systemdRuns = "[ -d /run/systemd/system ]";

std::string stopUnits() {
    return "{ /bin/systemctl disable --now " + path + ' ' + service + " >/dev/null 2>&1; /bin/rm -f " +
           quoted(text(unitFolder) + path) + ' ' + quoted(text(unitFolder) + service) +
           "; /bin/systemctl daemon-reload; }";
}

std::string startUnits(unsigned uid) {
    return joined({write(LocationSetup::serviceUnit(uid), text(unitFolder) + service),
                   write(LocationSetup::pathUnit(), text(unitFolder) + path), "/bin/systemctl daemon-reload",
                   "/bin/systemctl enable " + service + " >/dev/null 2>&1",
                   "/bin/systemctl enable --now " + path + " >/dev/null 2>&1"});
}

std::string installOnMac(unsigned uid, std::string_view temporaryCopy) {
    return joined({
        "/bin/mkdir -p " + point,
        "/usr/sbin/chown " + std::to_string(uid) + ":staff " + point,
        "/bin/chmod 755 " + point,
        "/bin/cp '" + text(temporaryCopy) + "' " + file,
        "/usr/sbin/chown root:wheel " + file,
        "/bin/chmod 644 " + file,
        "(/bin/launchctl bootout " + job + " 2>/dev/null; /bin/launchctl bootstrap system " + file + ")",
        "(/usr/bin/grep -qE '^127[.]0[.]0[.]1[[:space:]]+Quillmount$' /etc/hosts || /bin/echo '" + text(hostsLine) +
            "' >> /etc/hosts)",
        "/usr/bin/dscacheutil -flushcache",
    });
}

std::string installOnLinux(unsigned uid) {
    return joined({
        "umask 022",
        // Whoever could put a link in our way could have root change what it leads to.
        "{ [ -e /Volumes ] || [ -L /Volumes ] || /bin/mkdir /Volumes; }",
        "[ -n \"$(/usr/bin/find /Volumes -maxdepth 0 -type d -user 0 ! -perm /022)\" ]",
        "[ ! -L " + point + " ]",
        // What somebody has mounted there is not ours to change.
        "{ ! /bin/grep -qE '^[0-9]+ [0-9]+ [0-9:]+ [^ ]+ /Volumes/Quillmount ' /proc/self/mountinfo; }",
        "/bin/mkdir -p " + point,
        giveMountPoint(uid),
        "/bin/chmod 755 " + point,
        "/bin/mkdir -p /Library/LaunchDaemons",
        write(LocationSetup::propertyList(LocationSetup::System::gnuLinux, uid), text(LocationSetup::daemonFile)),
        "/bin/chown root:root " + file,
        "/bin/chmod 644 " + file,
        "{ ! " + systemdRuns + " || { " + stopUnits() + "; " + startUnits(uid) + "; }; }",
        // A line behind one without its end would become a part of that.
        "{ /bin/grep -qE '^127[.]0[.]0[.]1[[:space:]]+Quillmount$' /etc/hosts 2>/dev/null || "
        "{ { [ ! -e /etc/hosts ] || [ -z \"$(/usr/bin/tail -c 1 /etc/hosts)\" ] || /bin/echo >> /etc/hosts; } && "
        "/bin/echo '" +
            text(hostsLine) + "' >> /etc/hosts; }; }",
    });
}

std::string uninstallOnMac() {
    return joined({
        "/bin/launchctl bootout " + job + " 2>/dev/null; true",
        "/bin/rm -f " + file,
        "/bin/rmdir " + point + " 2>/dev/null; true",
        "/usr/bin/sed -i '' '/^127[.]0[.]0[.]1[[:space:]]*Quillmount$/d' /etc/hosts",
        "/usr/bin/dscacheutil -flushcache",
    });
}

std::string uninstallOnLinux(unsigned uid) {
    const std::string line = "'^127[.]0[.]0[.]1[[:space:]]*Quillmount$'";
    return joined({
        // Another user's stays.
        "if [ -e " + file + " ] && ! /bin/grep -qF 'chown " + std::to_string(uid) + ":staff' " + file +
            "; then exit 1; fi; if " + systemdRuns + "; then " + stopUnits() + "; fi; true",
        "/bin/rm -f " + file,
        "/bin/rmdir " + point + " 2>/dev/null; true",
        // Into the same file, which may be a mount and cannot be replaced then; and not at all without a line of ours.
        "{ ! /bin/grep -qE " + line +
            " /etc/hosts 2>/dev/null || { rest=$(/bin/mktemp /run/quillmount.XXXXXXXX) && "
            "/bin/sed '/^127[.]0[.]0[.]1[[:space:]]*Quillmount$/d' /etc/hosts > \"$rest\" && "
            "/bin/cat \"$rest\" > /etc/hosts && /bin/rm -f \"$rest\"; }; }",
    });
}

} // namespace

std::string LocationSetup::mountPointScript(System system, unsigned uid) {
    const std::string give =
        system == System::macOS ? "/usr/sbin/chown " + std::to_string(uid) + ":staff " + point : giveMountPoint(uid);
    const std::string first = system == System::macOS ? "" : "umask 022; ";
    return "[ -d " + point + " ] || { " + first + "/bin/mkdir -p " + point + " && " + give + " && /bin/chmod 755 " +
           point + "; }; exit 0";
}

std::string LocationSetup::propertyList(System system, unsigned uid) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n"
           "<dict>\n"
           "    <key>Label</key><string>" +
           text(label) +
           "</string>\n"
           "    <key>ProgramArguments</key>\n"
           "    <array>\n"
           "        <string>/bin/sh</string>\n"
           "        <string>-c</string>\n"
           "        <string>" +
           escaped(mountPointScript(system, uid)) +
           "</string>\n"
           "    </array>\n"
           "    <key>WatchPaths</key>\n"
           "    <array><string>/Volumes</string></array>\n"
           "    <key>RunAtLoad</key><true/>\n"
           "    <key>ThrottleInterval</key><integer>1</integer>\n"
           "</dict>\n"
           "</plist>\n";
}

bool LocationSetup::isSetUpFor(std::string_view daemonFileText, unsigned uid) {
    // With the word before it: "0:staff" is also the end of "1000:staff".
    return daemonFileText.find("WatchPaths") != std::string_view::npos &&
           daemonFileText.find("chown " + std::to_string(uid) + ":staff") != std::string_view::npos;
}

std::string LocationSetup::installScript(System system, unsigned uid, std::string_view temporaryCopy) {
    return system == System::macOS ? installOnMac(uid, temporaryCopy) : installOnLinux(uid);
}

std::string LocationSetup::uninstallScript(System system, unsigned uid) {
    return system == System::macOS ? uninstallOnMac() : uninstallOnLinux(uid);
}

std::string LocationSetup::withMarker(const std::string &script) {
    return script + " && /bin/echo " + text(successMarker);
}

std::string LocationSetup::serviceUnit(unsigned uid) {
    return "[Unit]\n"
           "Description=Keeps the mount point of Quillmount\n"
           "StartLimitIntervalSec=0\n"
           "\n"
           "[Service]\n"
           "Type=oneshot\n"
           "ExecStart=/bin/sh -c \"" +
           mountPointScript(System::gnuLinux, uid) +
           "\"\n"
           "\n"
           "[Install]\n"
           "WantedBy=multi-user.target\n";
}

std::string LocationSetup::pathUnit() {
    return "[Unit]\n"
           "Description=Watches the folder around the mount point of Quillmount\n"
           "StartLimitIntervalSec=0\n"
           "\n"
           "[Path]\n"
           "PathChanged=/Volumes\n"
           "Unit=" +
           service +
           "\n"
           "\n"
           "[Install]\n"
           "WantedBy=multi-user.target\n";
}

} // namespace quillmount
