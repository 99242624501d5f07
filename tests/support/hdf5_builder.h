#pragma once
// HDF5 files in memory, written by the HDF5 library.

#include <hdf5.h>

#include <cstddef>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace kymora::test {

struct Hdf5Storage {
    std::vector<hsize_t> chunk{};
    bool isPacked = false;        // by "shuffle" and "deflate", with check sums
    std::vector<hsize_t> most{};  // sizes to which it may grow
};

class Hdf5Builder {
  public:
    explicit Hdf5Builder(bool isNew = false) {
        const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
        H5Pset_fapl_core(access, 1 << 16, 0);
        if (isNew) H5Pset_libver_bounds(access, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST);
        file_ = H5Fcreate("memory", H5F_ACC_TRUNC, H5P_DEFAULT, access);
        H5Pclose(access);
        links_ = H5Pcreate(H5P_LINK_CREATE);
        H5Pset_create_intermediate_group(links_, 1);
        text_ = H5Tcopy(H5T_C_S1);
        H5Tset_size(text_, H5T_VARIABLE);
        H5Tset_cset(text_, H5T_CSET_UTF8);
    }
    ~Hdf5Builder() {
        H5Tclose(text_);
        H5Pclose(links_);
        H5Fclose(file_);
    }
    Hdf5Builder(const Hdf5Builder&) = delete;
    Hdf5Builder& operator=(const Hdf5Builder&) = delete;

    hid_t File() const { return file_; }
    template <typename T>
    static hid_t Type() {
        if constexpr (std::is_same_v<T, float>) return H5T_IEEE_F32LE;
        if constexpr (std::is_same_v<T, double>) return H5T_IEEE_F64LE;
        if constexpr (std::is_same_v<T, int16_t>) return H5T_STD_I16LE;
        if constexpr (std::is_same_v<T, uint32_t>) return H5T_STD_U32LE;
        return H5T_STD_I8LE;
    }
    template <typename T>
    void Array(const std::string& path, const std::vector<T>& values, std::vector<hsize_t> sizes = {},
               const Hdf5Storage& storage = {}) {
        if (sizes.empty()) sizes = {values.size()};
        const hid_t made = H5Pcreate(H5P_DATASET_CREATE);
        if (!storage.chunk.empty())
            H5Pset_chunk(made, static_cast<int>(storage.chunk.size()), storage.chunk.data());
        if (storage.isPacked) H5Pset_shuffle(made), H5Pset_deflate(made, 6), H5Pset_fletcher32(made);
        Write(path, Type<T>(), sizes, storage.most, made, values.data());
        H5Pclose(made);
    }
    void Number(const std::string& path, double value) {
        Write(path, H5T_IEEE_F64LE, {}, {}, H5P_DEFAULT, &value);
    }
    void Texts(const std::string& path, const std::vector<const char*>& texts) {
        Write(path, text_, {texts.size()}, {}, H5P_DEFAULT, texts.data());
    }
    void Text(const std::string& path, const char* text) { Write(path, text_, {}, {}, H5P_DEFAULT, &text); }
    // Of a group that is made where there is none, or of an array.
    void Attribute(const std::string& path, const char* name, double value) {
        WriteAttribute(path, name, H5T_IEEE_F64LE, 0, &value);
    }
    void Attribute(const std::string& path, const char* name, const char* text) {
        WriteAttribute(path, name, text_, 0, &text);
    }
    void Attribute(const std::string& path, const char* name, const std::vector<const char*>& texts) {
        WriteAttribute(path, name, text_, texts.size(), texts.data());
    }
    std::vector<std::byte> Bytes() {
        H5Fflush(file_, H5F_SCOPE_GLOBAL);
        std::vector<std::byte> bytes(static_cast<size_t>(H5Fget_file_image(file_, nullptr, 0)));
        H5Fget_file_image(file_, bytes.data(), bytes.size());
        return bytes;
    }

  private:
    static hid_t Space(const std::vector<hsize_t>& sizes, const std::vector<hsize_t>& most = {}) {
        if (sizes.empty()) return H5Screate(H5S_SCALAR);
        return H5Screate_simple(static_cast<int>(sizes.size()), sizes.data(),
                                most.empty() ? nullptr : most.data());
    }
    void Write(const std::string& path, hid_t type, const std::vector<hsize_t>& sizes,
               const std::vector<hsize_t>& most, hid_t made, const void* values) {
        const hid_t space = Space(sizes, most);
        const hid_t set = H5Dcreate2(file_, path.c_str(), type, space, links_, made, H5P_DEFAULT);
        H5Dwrite(set, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values);
        H5Dclose(set);
        H5Sclose(space);
    }
    void WriteAttribute(const std::string& path, const char* name, hid_t type, size_t count,
                        const void* values) {
        if (path != "/" && H5Oexists_by_name(file_, path.c_str(), H5P_DEFAULT) <= 0)
            H5Gclose(H5Gcreate2(file_, path.c_str(), links_, H5P_DEFAULT, H5P_DEFAULT));
        const hid_t space = Space(count == 0 ? std::vector<hsize_t>() : std::vector<hsize_t>{count});
        const hid_t attribute =
            H5Acreate_by_name(file_, path.c_str(), name, type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        H5Awrite(attribute, type, values);
        H5Aclose(attribute);
        H5Sclose(space);
    }

    hid_t file_ = -1, links_ = -1, text_ = -1;
};

}  // namespace kymora::test
