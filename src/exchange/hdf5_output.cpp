#include "exchange/hdf5_output.h"

#include <hdf5.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <mutex>
#include <utility>

namespace kymora {

// Named, since what stands here are parts of a class that the header names.
namespace hdf5_library {

std::mutex libraryLock;

// Where the library's bytes go. Without a file they are dropped: what is given up is closed without failures,
// which would keep it open until the program ends.
struct Sink {
    DataFile* file = nullptr;
    std::exception_ptr failure{};
};

// What goes in with the access properties: the library copies it byte by byte.
struct Target {
    Sink* sink = nullptr;
};

// The library's view of a DataFile.
struct OutputDriver {
    H5FD_t base{};
    Sink* sink = nullptr;
    haddr_t end = 0;  // of what the library has given out
};

OutputDriver& DriverOf(H5FD_t* file) { return *reinterpret_cast<OutputDriver*>(file); }

template <typename Work>
herr_t Attempt(OutputDriver& driver, Work work) {
    try {
        if (driver.sink->file) work(*driver.sink->file);
        return 0;
    } catch (...) {
        if (!driver.sink->failure) driver.sink->failure = std::current_exception();
        return -1;
    }
}

H5FD_t* OpenDriver(const char*, unsigned, hid_t access, haddr_t) {
    const auto* target = static_cast<const Target*>(H5Pget_driver_info(access));
    return target ? &(new OutputDriver{{}, target->sink})->base : nullptr;
}

herr_t CloseDriver(H5FD_t* file) {
    delete &DriverOf(file);
    return 0;
}

herr_t QueryDriver(const H5FD_t*, unsigned long* flags) {
    *flags = H5FD_FEAT_AGGREGATE_METADATA | H5FD_FEAT_ACCUMULATE_METADATA | H5FD_FEAT_AGGREGATE_SMALLDATA;
    return 0;
}

haddr_t EndOfAddresses(const H5FD_t* file, H5FD_mem_t) {
    return reinterpret_cast<const OutputDriver*>(file)->end;
}

herr_t SetEndOfAddresses(H5FD_t* file, H5FD_mem_t, haddr_t end) {
    DriverOf(file).end = end;
    return 0;
}

haddr_t EndOfFile(const H5FD_t* file, H5FD_mem_t) {
    const auto& driver = *reinterpret_cast<const OutputDriver*>(file);
    return driver.sink->file ? driver.sink->file->Length() : driver.end;
}

herr_t ReadDriver(H5FD_t* file, H5FD_mem_t, hid_t, haddr_t at, size_t count, void* to) {
    OutputDriver& driver = DriverOf(file);
    auto* const bytes = static_cast<std::byte*>(to);
    std::fill(bytes, bytes + count, std::byte{0});
    return Attempt(driver, [&](const DataFile& source) { source.ReadAt(at, {bytes, count}); });
}

herr_t WriteDriver(H5FD_t* file, H5FD_mem_t, hid_t, haddr_t at, size_t count, const void* from) {
    OutputDriver& driver = DriverOf(file);
    return Attempt(driver, [&](DataFile& target) {
        target.WriteAt(at, {static_cast<const std::byte*>(from), count});
    });
}

herr_t TruncateDriver(H5FD_t* file, hid_t, hbool_t) {
    OutputDriver& driver = DriverOf(file);
    return Attempt(driver, [&](DataFile& target) {
        if (target.Length() != driver.end) target.Truncate(driver.end);
    });
}

hid_t DriverId() {
    static const H5FD_class_t driver = [] {
        H5FD_class_t made{};
        made.name = "kymora";
        made.maxaddr = (haddr_t{1} << 62) - 1;
        made.fc_degree = H5F_CLOSE_STRONG;
        made.fapl_size = sizeof(Target);
        made.open = OpenDriver;
        made.close = CloseDriver;
        made.query = QueryDriver;
        made.get_eoa = EndOfAddresses;
        made.set_eoa = SetEndOfAddresses;
        made.get_eof = EndOfFile;
        made.read = ReadDriver;
        made.write = WriteDriver;
        made.truncate = TruncateDriver;
        const H5FD_mem_t kinds[] = H5FD_FLMAP_DICHOTOMY;
        std::copy(std::begin(kinds), std::end(kinds), std::begin(made.fl_map));
        return made;
    }();
    static const hid_t id = H5FDregister(&driver);
    return id;
}

// Closes what the library has opened.
class Handle {
  public:
    using Closer = herr_t (*)(hid_t);
    Handle(hid_t id, Closer closer) : id_(id), closer_(closer) {}
    ~Handle() { Reset(); }
    Handle(Handle&& other) noexcept : id_(std::exchange(other.id_, -1)), closer_(other.closer_) {}
    Handle& operator=(Handle&& other) noexcept {
        Reset();
        id_ = std::exchange(other.id_, -1);
        closer_ = other.closer_;
        return *this;
    }
    operator hid_t() const { return id_; }
    herr_t Reset() { return id_ >= 0 ? closer_(std::exchange(id_, -1)) : 0; }

  private:
    hid_t id_;
    Closer closer_;
};

Handle SpaceOf(const std::vector<int64_t>& sizes) {
    const std::vector<hsize_t> sides(sizes.begin(), sizes.end());
    return {sides.empty() ? H5Screate(H5S_SCALAR)
                          : H5Screate_simple(static_cast<int>(sides.size()), sides.data(), nullptr),
            H5Sclose};
}

}  // namespace hdf5_library

using namespace hdf5_library;

struct Hdf5Output::State {
    explicit State(DataFile& target)
        : lock(libraryLock), text(H5Tcopy(H5T_C_S1), H5Tclose), links(H5Pcreate(H5P_LINK_CREATE), H5Pclose) {
        H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);  // failures are told by FileError
        H5Tset_size(text, H5T_VARIABLE);
        H5Tset_cset(text, H5T_CSET_UTF8);
        H5Pset_create_intermediate_group(links, 1);
        sink->file = &target;
        const Target told{sink.get()};
        const Handle access(H5Pcreate(H5P_FILE_ACCESS), H5Pclose);
        H5Pset_driver(access, DriverId(), &told);
        H5Pset_fclose_degree(access, H5F_CLOSE_STRONG);
        file = Handle(H5Fcreate("recording", H5F_ACC_TRUNC, H5P_DEFAULT, access), H5Fclose);
        arrays = Handle(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
        H5Pset_obj_track_times(arrays, 0);  // the same recording gives the same bytes
    }

    ~State() { sink->file = nullptr; }

    std::unique_lock<std::mutex> lock;
    std::unique_ptr<Sink> sink = std::make_unique<Sink>();
    Handle text, links;
    Handle arrays{-1, H5Pclose}, file{-1, H5Fclose};
    Handle open{-1, H5Dclose};  // the array that is filled
    hsize_t columns = 0, filled = 0;
};

Hdf5Output::Hdf5Output(DataFile& file) : state_(std::make_unique<State>(file)) { Check(state_->file); }

Hdf5Output::~Hdf5Output() = default;

void Hdf5Output::Check(int64_t answer) {
    if (state_->sink->failure) std::rethrow_exception(state_->sink->failure);
    if (answer < 0) throw FileError("The HDF5 library could not write the file.", 0);
}

void Hdf5Output::Group(const std::string& path) {
    const Handle group(H5Gcreate2(state_->file, path.c_str(), state_->links, H5P_DEFAULT, H5P_DEFAULT),
                       H5Gclose);
    Check(group);
}

void Hdf5Output::Write(const std::string& path, int64_t type, const std::vector<int64_t>& sizes,
                       const void* values) {
    const Handle space = SpaceOf(sizes);
    const Handle array(
        H5Dcreate2(state_->file, path.c_str(), type, space, state_->links, state_->arrays, H5P_DEFAULT),
        H5Dclose);
    Check(array);
    if (sizes.empty() || sizes[0] > 0) Check(H5Dwrite(array, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values));
}

// `count` of 0 is a single value.
void Hdf5Output::WriteAttribute(const std::string& path, const char* name, int64_t type, int64_t count,
                                const void* values) {
    const Handle space = SpaceOf(count == 0 ? std::vector<int64_t>() : std::vector<int64_t>{count});
    const Handle attribute(H5Acreate_by_name(state_->file, path.c_str(), name, type, space, H5P_DEFAULT,
                                             H5P_DEFAULT, H5P_DEFAULT),
                           H5Aclose);
    Check(attribute);
    Check(H5Awrite(attribute, type, values));
}

void Hdf5Output::Attribute(const std::string& path, const char* name, const std::string& text) {
    const char* const raw = text.c_str();
    WriteAttribute(path, name, state_->text, 0, &raw);
}

void Hdf5Output::Attribute(const std::string& path, const char* name, double number) {
    WriteAttribute(path, name, H5T_NATIVE_DOUBLE, 0, &number);
}

void Hdf5Output::Attribute(const std::string& path, const char* name, const std::vector<std::string>& texts) {
    std::vector<const char*> raw;
    for (const std::string& text : texts) raw.push_back(text.c_str());
    if (!raw.empty()) WriteAttribute(path, name, state_->text, static_cast<int64_t>(raw.size()), raw.data());
}

void Hdf5Output::ReferenceAttribute(const std::string& path, const char* name, const std::string& to) {
    hobj_ref_t reference{};
    Check(H5Rcreate(&reference, state_->file, to.c_str(), H5R_OBJECT, -1));
    WriteAttribute(path, name, H5T_STD_REF_OBJ, 0, &reference);
}

void Hdf5Output::Text(const std::string& path, const std::string& text) {
    const char* const raw = text.c_str();
    Write(path, state_->text, {}, &raw);
}

void Hdf5Output::Texts(const std::string& path, const std::vector<std::string>& texts) {
    std::vector<const char*> raw;
    for (const std::string& text : texts) raw.push_back(text.c_str());
    Write(path, state_->text, {static_cast<int64_t>(raw.size())}, raw.data());
}

void Hdf5Output::Number(const std::string& path, double number) {
    Write(path, H5T_NATIVE_DOUBLE, {}, &number);
}

void Hdf5Output::Numbers(const std::string& path, std::span<const double> numbers) {
    Write(path, H5T_NATIVE_DOUBLE, {static_cast<int64_t>(numbers.size())}, numbers.data());
}

void Hdf5Output::Wholes(const std::string& path, std::span<const int64_t> numbers) {
    Write(path, H5T_NATIVE_INT64, {static_cast<int64_t>(numbers.size())}, numbers.data());
}

void Hdf5Output::References(const std::string& path, const std::vector<std::string>& to) {
    std::vector<hobj_ref_t> references(to.size());
    for (size_t i = 0; i < to.size(); ++i)
        Check(H5Rcreate(&references[i], state_->file, to[i].c_str(), H5R_OBJECT, -1));
    Write(path, H5T_STD_REF_OBJ, {static_cast<int64_t>(to.size())}, references.data());
}

void Hdf5Output::Link(const std::string& path, const std::string& to) {
    Check(H5Lcreate_soft(("/" + to).c_str(), state_->file, path.c_str(), state_->links, H5P_DEFAULT));
}

void Hdf5Output::Begin(const std::string& path, int64_t type, int64_t rows, int64_t columns) {
    const Handle space =
        SpaceOf(columns == 0 ? std::vector<int64_t>{rows} : std::vector<int64_t>{rows, columns});
    state_->open = Handle(
        H5Dcreate2(state_->file, path.c_str(), type, space, state_->links, state_->arrays, H5P_DEFAULT),
        H5Dclose);
    Check(state_->open);
    state_->columns = static_cast<hsize_t>(columns);
    state_->filled = 0;
}

void Hdf5Output::BeginSingles(const std::string& path, int64_t rows, int64_t columns) {
    Begin(path, H5T_IEEE_F32LE, rows, columns);
}

void Hdf5Output::BeginDoubles(const std::string& path, int64_t count) {
    Begin(path, H5T_IEEE_F64LE, count, 0);
}

void Hdf5Output::Add(int64_t type, const void* values, size_t count) {
    const hsize_t columns = std::max<hsize_t>(state_->columns, 1);
    const hsize_t start[] = {state_->filled, 0}, size[] = {count / columns, columns};
    const Handle all(H5Dget_space(state_->open), H5Sclose);
    const Handle part(H5Screate_simple(state_->columns == 0 ? 1 : 2, size, nullptr), H5Sclose);
    Check(H5Sselect_hyperslab(all, H5S_SELECT_SET, start, nullptr, size, nullptr));
    Check(H5Dwrite(state_->open, type, part, all, H5P_DEFAULT, values));
    state_->filled += size[0];
}

void Hdf5Output::AddSingles(std::span<const float> values) {
    Add(H5T_NATIVE_FLOAT, values.data(), values.size());
}

void Hdf5Output::AddDoubles(std::span<const double> values) {
    Add(H5T_NATIVE_DOUBLE, values.data(), values.size());
}

void Hdf5Output::Close() {
    Check(state_->open.Reset());
    Check(H5Fflush(state_->file, H5F_SCOPE_GLOBAL));
    const herr_t answer = state_->file.Reset();
    if (answer >= 0) return Check(answer);
    Sink* const kept = state_->sink.release();  // the library may use it until the program ends
    kept->file = nullptr;
    state_->sink = std::make_unique<Sink>(Sink{nullptr, kept->failure});
    Check(answer);
}

}  // namespace kymora
