#include "import/mat_hdf5.h"

#include <algorithm>

#include "archive/text_encoding.h"
#include "document/open_request.h"

namespace kymora {

namespace {

constexpr std::string_view matHead = "MATLAB 7.3 MAT-file";
constexpr int structDepth = 3;
constexpr size_t mostHdf5Arrays = 20000, mostHdf5Text = 10000, mostPassed = 200;

// The types of version 5, of which the bytes and the precision are known.
uint32_t MatTypeOf(const Hdf5Type& type) {
    if (type.kind == Hdf5Type::Kind::real) return type.bytes == 4 ? 7 : 9;
    const uint32_t unsignedOne = type.isSigned ? 0 : 1;
    return unsignedOne + (type.bytes == 1 ? 1 : type.bytes == 2 ? 3 : type.bytes == 4 ? 5 : 12);
}

class Hdf5MatLister {
  public:
    explicit Hdf5MatLister(Hdf5File& file) : file_(file) {}
    MatContents List() {
        TakeGroup(file_.Root(), {}, 0);
        return std::move(found_);
    }

  private:
    std::string TextOf(const Hdf5Object& object, const char* name) {
        const auto attribute = object.attributes.find(name);
        const auto texts = attribute == object.attributes.end() ? std::vector<std::string>()
                                                                : file_.Texts(attribute->second, 1);
        return texts.empty() ? std::string() : texts[0];
    }
    void TakeGroup(const Hdf5Object& group, const std::string& within, int depth) {
        for (const auto& [name, address] : group.members) {
            if (within.empty() && name.starts_with('#')) continue;  // what cells refer to
            const Hdf5Object object = file_.Read(address);
            const std::string full = within.empty() ? name : within + "." + name;
            if (object.array)
                TakeArray(object, full);
            else if (depth < structDepth && !object.attributes.contains("MATLAB_sparse"))
                TakeGroup(object, full, depth + 1);
            else
                PassOver(full);
        }
    }
    void TakeArray(const Hdf5Object& object, const std::string& name) {
        const Hdf5Array& array = *object.array;
        if (object.attributes.contains("MATLAB_empty")) return;
        if (!array.type.IsNumber() || array.sizes.size() > 2) return PassOver(name);
        const uint64_t count = array.Count();
        const uint64_t columns = array.sizes.size() == 2 ? array.sizes[0] : 1;
        if (count == 0) return;
        const std::string kind = TextOf(object, "MATLAB_class");
        if (kind == "char") {
            if (count == columns) found_.texts[name] = Characters(array);
        } else if (kind == "cell" || kind == "function_handle") {
            PassOver(name);
        } else if (count == 1) {
            if (const auto number = file_.Numbers(array, 1); !number.empty())
                found_.numbers[name] = number[0];
        } else {
            MatArray& added = found_.arrays.emplace_back();
            added.name = name;
            added.rows = static_cast<size_t>(count / columns);
            added.columns = static_cast<size_t>(columns);
            added.at = object.address;
            // Whatever is in chunks may be far larger than the file.
            added.packedBytes = array.layout.kind == Hdf5Layout::Kind::chunked ? 1 : 0;
            added.type = MatTypeOf(array.type);
            if (found_.arrays.size() > mostHdf5Arrays)
                throw OpenError("This MATLAB file cannot be read: it holds too many variables.");
        }
    }
    std::string Characters(const Hdf5Array& array) {
        std::u16string units;
        for (const double code : file_.Numbers(array, mostHdf5Text))
            units += code >= 1.0 && code < 65536.0 ? static_cast<char16_t>(code) : u' ';
        return WideToText(units);
    }
    void PassOver(const std::string& name) {
        if (found_.passedOver.size() < mostPassed)
            found_.passedOver += (found_.passedOver.empty() ? "" : ", ") + name.substr(0, 60);
    }

    Hdf5File& file_;
    MatContents found_;
};

}  // namespace

bool IsHdf5Mat(const DataFile& file) {
    std::string head(matHead.size(), '\0');
    head.resize(file.ReadAt(0, std::as_writable_bytes(std::span(head))));
    return head == matHead;
}

MatContents ListHdf5Mat(Hdf5File& file) { return Hdf5MatLister(file).List(); }

std::vector<double> Hdf5MatNumbers(Hdf5File& file, const MatArray& array) {
    const Hdf5Object object = file.Read(array.at);
    std::vector<double> numbers;
    if (object.array) numbers = file.Numbers(*object.array, array.Count());
    if (numbers.size() != array.Count())
        throw OpenError("This MATLAB file cannot be read: it is damaged or cut off.");
    return numbers;
}

}  // namespace kymora
