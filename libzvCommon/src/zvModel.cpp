#include "zvModel.h"

namespace {

struct Model {
    int number;
    const char* name;
};

constexpr int endOfTable = -1;

// Fixed: 5 to 9 and 20 are absent; the gateway describes such a camera by the settings of model 13.
constexpr Model models[] = {
    {0, "orin1"},     {1, "orin2"},     {2, "varlo"},   {3, "quenta"},       {4, "mirel"},          {10, "zephan"},
    {11, "korru"},    {12, "tessilon"}, {13, "abru"},   {14, "ferrow"},      {15, "lumina"},        {16, "grandelle"},
    {17, "ostrival"}, {18, "pemberly"}, {19, "wenlow"}, {21, "calder_vale"}, {endOfTable, nullptr},
};

} // namespace

const char* get_model_name(int modelNumber) {
    for (const Model* model = models; model->number != endOfTable; ++model) {
        if (model->number == modelNumber) {
            return model->name;
        }
    }
    return nullptr;
}
