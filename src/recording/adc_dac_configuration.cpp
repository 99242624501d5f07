#include "recording/adc_dac_configuration.h"

#include <fmt/format.h>

#include "archive/archive.h"
#include "document/native_writer.h"
#include "host/form.h"
#include "recording/acquisition_settings_fields.h"
#include "recording/adc_dac_configuration_layout.h"
#include "results/number_text.h"

namespace kymora {

namespace {

constexpr uint32_t generalVersion = 2;
// No configuration takes as much; a longer file is none.
constexpr uint64_t mostBytes = uint64_t{64} << 20;

std::string_view SectionName(RecordingType type) {
    switch (type) {
    case RecordingType::microphone:
        return "Microphone recording";
    case RecordingType::board:
        return "DT General recording";
    case RecordingType::arduino:
        return "Arduino recording";
    default:
        return "DT Refractory protocol";
    }
}

std::string DamagedText(std::string_view fault) {
    return fmt::format("This ADC-DAC configuration is damaged. Nothing was loaded.\n{}", fault);
}

// --- reading ---

// A file as it is read, in the two steps between which a load looks at its type and shows its notes.
class Reader {
  public:
    Reader(Session& session, const std::filesystem::path& path) {
        try {
            file_ = session.files.Open(path, OpenMode::readOnly);
        } catch (const FileError&) {
            throw ConfigurationError(fmt::format("Couldn't open file {}", path.string()));
        }
        archive_.emplace(*file_, CArchive::Mode::load);
    }

    AcquisitionSettings& Settings() { return read_.settings; }

    void ReadHead() {
        constexpr const char* wrongHead =
            "You are not loading a Kymora ADC-DAC Configuration file. Aborting.";
        try {
            if (file_->Length() > mostBytes || archive_->ReadString() != adcDacHead)
                throw ConfigurationError(wrongHead);
        } catch (const ArchiveError&) {
            throw ConfigurationError(wrongHead);
        }
        Guarded([this] {
            read_.generalVersion = archive_->Read<uint32_t>();
            CheckVersion(read_.generalVersion, generalVersion, {});
            const auto type = static_cast<RecordingType>(archive_->Read<uint32_t>());
            read_.settings = AcquisitionSettings(type);
            read_.settings.notes = archive_->ReadString();
        });
    }

    AdcDacConfiguration ReadRest() {
        AcquisitionSettings& s = read_.settings;
        if (static_cast<uint32_t>(s.m_eRecordingType) >= recordingTypeCount)
            throw ConfigurationError(fmt::format("Unrecognized recording type {} in a configuration file.",
                                                 static_cast<uint32_t>(s.m_eRecordingType)));
        Guarded([&] {
            if (read_.generalVersion > 1) ExchangeAxes(*archive_, s);
            read_.sectionVersion = archive_->Read<uint32_t>();
            CheckVersion(read_.sectionVersion, LatestSectionVersion(s.m_eRecordingType),
                         SectionName(s.m_eRecordingType));
            ExchangeSection(*archive_, s, read_.sectionVersion);
        });
        const std::string fault = SettingsFault(s);
        if (!fault.empty()) throw ConfigurationError(DamagedText(fault));
        return std::move(read_);
    }

  private:
    // `section` names it in the message; empty for the version of the whole file.
    static void CheckVersion(uint32_t version, uint32_t latest, std::string_view section) {
        if (version >= 1 && version <= latest) return;
        const std::string of = section.empty() ? std::string() : fmt::format("for {}: ", section);
        throw ConfigurationError(
            fmt::format("Unrecognized configuration file {}version {}.\nShould be between 1 and {}.", of,
                        version, latest));
    }
    template <typename Work>
    static void Guarded(const Work& work) {
        try {
            work();
        } catch (const ArchiveError& error) {
            throw ConfigurationError(DamagedText(error.what()));
        } catch (const FileError& error) {
            throw ConfigurationError(error.what());
        }
    }

    std::unique_ptr<DataFile> file_;
    std::optional<CArchive> archive_;
    AdcDacConfiguration read_;
};

// --- what a load tells ---

// A base name is a path of the system on which it was written.
size_t EndOfFolder(std::string_view base) {
    const size_t last = base.find_last_of("/\\");
    return last == std::string_view::npos ? 0 : last + 1;
}

void CheckAutoSave(Session& session, const std::filesystem::path& desktop, AcquisitionSettings& s) {
    const size_t end = EndOfFolder(s.m_strAutoSaveBase);
    if (end == 0 || session.files.HasFolder(s.m_strAutoSaveBase.substr(0, end))) return;
    session.host.Message("The folder specified in the configuration Autosave path does not "
                         "exist.\nDefaulting to the Desktop.");
    s.m_strAutoSaveBase = (desktop / s.m_strAutoSaveBase.substr(end)).string();
}

int LastChannelOn(const AcquisitionSettings& s) {
    int last = 0;
    for (size_t i = 0; i < s.channels.size(); ++i)
        if (s.channels[i].m_nChanOn) last = static_cast<int>(i) + 1;
    return last;
}

void CheckBoardName(Host& host, const std::string& running, const AcquisitionSettings& s) {
    // Settings that were written without a board name none.
    if (s.m_strBoardName.empty() || s.m_strBoardName == running) return;
    host.Message(
        fmt::format("Configuration file was saved with a {} board, but you are currently running a {} "
                    "board.\nSome facilities may not operate correctly.",
                    s.m_strBoardName, running));
}

void CheckBoard(Host& host, const ConfigurationTarget::Board& board, AcquisitionSettings& s) {
    if (LastChannelOn(s) > board.adcChannels)
        host.Message(
            fmt::format("Config file was saved from board with {} ADC channels.\nThis board only has "
                        "{}.",
                        LastChannelOn(s), board.adcChannels));
    if (s.m_eRecordingType != RecordingType::board) return;
    if (s.m_bDigitalTrigOut && !board.hasDigitalOutput) {
        host.Message("Digital trigger out not supported by this board. Reverting to software simultaneous "
                     "start.");
        s.m_bDigitalTrigOut = false;
    }
    if (s.boardDacChannels > board.dacChannels)
        host.Message(
            fmt::format("Config file was saved from board with {} DAC channels.\nThis board only has "
                        "{}.",
                        s.boardDacChannels, board.dacChannels));
}

// In the order in which the file has what they are about.
void Adapt(Session& session, const ConfigurationTarget& target, AcquisitionSettings& s) {
    const bool hasBoard = target.board && s.HasBoard();
    if (hasBoard) CheckBoardName(session.host, target.board->name, s);
    if (s.m_eRecordingType == RecordingType::board) CheckAutoSave(session, target.desktopFolder, s);
    if (hasBoard) CheckBoard(session.host, *target.board, s);
    if (target.findOutputFile && !s.m_strOutputFile.empty() && !target.findOutputFile(s.m_strOutputFile))
        s.m_strOutputFile.clear();
}

class TextSink : public OutputSink {
  public:
    void Write(std::string_view text) override { all += text; }
    std::string all;
};

}  // namespace

std::string ConfigurationHead(Session& session, const std::filesystem::path& path) {
    const auto file = session.files.Open(path, OpenMode::readOnly);
    CArchive archive(*file, CArchive::Mode::load);
    try {
        return file->Length() > mostBytes ? std::string() : archive.ReadString();
    } catch (const ArchiveError&) {
        return {};
    }
}

std::string WrongTypeText(RecordingType read, RecordingType wanted) {
    const auto name = [](RecordingType type) {
        const std::string_view words = RecordingTypeName(type);
        return words.empty() ? RecordingTypeWord(type) : words;
    };
    return fmt::format("You are trying to load a {} configuration file into a {} interface. Aborting.",
                       name(read), name(wanted));
}

AdcDacConfiguration ReadConfiguration(Session& session, const std::filesystem::path& path) {
    Reader reader(session, path);
    reader.ReadHead();
    return reader.ReadRest();
}

void WriteConfiguration(Session& session, const AcquisitionSettings& settings,
                        const std::filesystem::path& path) {
    AcquisitionSettings written = settings;
    WriteFileAtomically(session.files, path, [&](CArchive& archive) {
        archive.WriteString(adcDacHead);
        archive.Write<uint32_t>(generalVersion);
        archive.Write<uint32_t>(static_cast<uint32_t>(written.m_eRecordingType));
        archive.WriteString(written.notes);
        ExchangeAxes(archive, written);
        const uint32_t version = LatestSectionVersion(written.m_eRecordingType);
        archive.Write<uint32_t>(version);
        ExchangeSection(archive, written, version);
    });
}

bool LoadConfiguration(Session& session, std::optional<std::filesystem::path> path,
                       const ConfigurationTarget& target, AcquisitionSettings& settings) {
    if (!path) {
        const auto chosen =
            session.host.ChooseOpenFiles({loadAdcDacTitle, adcDacFilter, adcDacExtension, {}});
        if (chosen.empty()) return false;
        path = chosen.front();
    }
    try {
        Reader reader(session, *path);
        reader.ReadHead();
        const RecordingType type = reader.Settings().m_eRecordingType;
        if (type != target.type) throw ConfigurationError(WrongTypeText(type, target.type));
        std::string& notes = reader.Settings().notes;
        if (!notes.empty()) AskProtocolNotes(session.host, notes);
        AcquisitionSettings read = reader.ReadRest().settings;
        Adapt(session, target, read);
        settings = std::move(read);
        return true;
    } catch (const ConfigurationError& error) {
        session.host.Failure(error.what());
        return false;
    }
}

bool SaveConfiguration(Session& session, AcquisitionSettings& settings) {
    const auto path = session.host.ChooseSaveFile({saveAdcDacTitle, adcDacFilter, adcDacExtension, {}});
    if (!path || !AskProtocolNotes(session.host, settings.notes)) return false;
    try {
        WriteConfiguration(session, settings, *path);
        return true;
    } catch (const FileError& error) {
        session.host.Failure(error.what());
        return false;
    }
}

bool AskProtocolNotes(Host& host, std::string& notes) {
    Form form(protocolNotesTitle);
    form.AddLongText("notes", "Notes", notes, "Free text that the configuration keeps");
    if (!host.AskForm(form)) return false;
    notes = form.Text("notes");
    return true;
}

std::string ConfigurationText(const AdcDacConfiguration& configuration, std::string_view path) {
    return fmt::format("{:<32}{}\n{:<32}ADC-DAC configuration (version {}, section {})\n", "File",
                       TerminalLine(path), "Kind", configuration.generalVersion,
                       configuration.sectionVersion) +
           SettingsText(configuration.settings);
}

std::string ConfigurationJson(const AdcDacConfiguration& configuration, std::string_view path) {
    TextSink sink;
    JsonWriter json(sink);
    json.BeginObject();
    json.Member("path", path);
    json.Member("kind", "ADC-DAC configuration");
    json.Member("generalVersion", configuration.generalVersion);
    json.Member("sectionVersion", configuration.sectionVersion);
    WriteSettings(json, configuration.settings);
    json.EndObject();
    json.Finish();
    return std::move(sink.all);
}

}  // namespace kymora
