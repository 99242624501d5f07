#include <fmt/format.h>

#include "cli/command_context.h"
#include "cli/near_names.h"
#include "cli/operation_names.h"
#include "cli/operation_tables.h"

namespace kymora {
namespace {

class OperationsCommand : public Subcommand {
  public:
    std::string Name() const override { return "operations"; }
    std::string Summary() const override { return "every operation with its parameters"; }
    std::vector<std::string> Examples() const override {
        return {"kymora operations", "kymora operations CEventThreshold", "kymora operations --json"};
    }
    std::vector<CommandOption> Options() override {
        return {{"NAME", "", "this operation alone, as CEventThreshold or event-threshold", &name_},
                {"--json", "", "as JSON", &json_}};
    }
    void Run(SubcommandContext& context) override {
        const auto operations = name_ ? std::span(&NamedOperation(*name_), 1) : Operations();
        if (json_)
            WriteOperationsJson(context.output, operations);
        else
            WriteOperationsText(context.output, operations);
    }

  private:
    std::optional<std::string> name_;
    bool json_ = false;
};

}  // namespace

const Operation& NamedOperation(const std::string& name) {
    if (const Operation* operation = FindOperation(name)) return *operation;
    std::vector<std::string> known;
    // In the form in which the name was given: class names begin with C and a capital.
    const bool isClassName = name.size() > 1 && name[0] == 'C' && name[1] >= 'A' && name[1] <= 'Z';
    for (const Operation& operation : Operations())
        known.push_back(isClassName ? std::string(operation.className) : operation.KebabName());
    throw CommandError(exitUsage,
                       fmt::format("There is no operation \"{}\".{} \"kymora operations\" lists all.", name,
                                   DidYouMean(NearNames(name, known))));
}

std::unique_ptr<Subcommand> MakeOperationsCommand() { return std::make_unique<OperationsCommand>(); }

}  // namespace kymora
