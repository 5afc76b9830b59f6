// The shared libraries as a program sees them: their exports, the slots of Msg's virtual table, and their behaviour in
// a program that exports no logging.
#include "csi.h"
#include "zvCtrlD.h"

#include <algorithm>
#include <dlfcn.h>
#include <elf.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <link.h>
#include <set>
#include <string>
#include <vector>

namespace {

// The names that a library exports.
std::set<std::string> exportsOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    const std::string image((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const auto at = [&](auto& structure, std::size_t offset) {
        EXPECT_LE(offset + sizeof structure, image.size());
        std::copy_n(image.data() + offset, sizeof structure, reinterpret_cast<char*>(&structure));
    };
    ElfW(Ehdr) header;
    at(header, 0);
    std::vector<ElfW(Shdr)> sections(header.e_shnum);
    for (std::size_t i = 0; i < sections.size(); ++i) {
        at(sections[i], header.e_shoff + i * header.e_shentsize);
    }
    std::set<std::string> names;
    for (const ElfW(Shdr) & section : sections) {
        for (std::size_t i = 0; section.sh_type == SHT_DYNSYM && i < section.sh_size / section.sh_entsize; ++i) {
            ElfW(Sym) symbol;
            at(symbol, section.sh_offset + i * section.sh_entsize);
            // On 32-bit ARM there are symbols of sections as well, which have no name.
            if (symbol.st_shndx != SHN_UNDEF && symbol.st_name != 0) {
                names.insert(image.c_str() + sections[section.sh_link].sh_offset + symbol.st_name);
            }
        }
    }
    return names;
}

// A class derived outside the library, like the program's own messages.
class OtherMsg : public Msg {
public:
    OtherMsg() : Msg(2) {}
    ~OtherMsg() override { ++destroyed; }
    static int destroyed;
};
int OtherMsg::destroyed = 0;

void* const* slotsOf(const Msg& message) {
    return *reinterpret_cast<void* const* const*>(&message);
}

void* named(const char* name) {
    return dlsym(RTLD_DEFAULT, name);
}

} // namespace

TEST(SharedControlLibrary, ExportsItsInterfaceAndNothingElse) {
    const std::set<std::string> expected = {
        "zvcontrol_uri_interface_open",
        "zvcontrol_uri_interface_close",
        "zvcontrol_uri_add_handler",
        "zvcontrol_uri_handle_uri_param",
        "zvcontrol_send_command_param_response",
        "zvc_state_get_model_number",
        "zvc_state_get_model_name",
        "zvc_state_get_firmware_version",
        "zvc_state_get_serial_number",
        "zvc_state_get_board_type",
        "zvc_state_get_ap_mac",
        "zvc_state_get_ap_ssid",
        "zvc_state_get_ap_has_default_credentials",
        "_Z26http_output_success_headerRSo",
        "_Z22http_output_empty_jsonRSo",
        "_Z28http_print_error_response_exRSoPKcS1_iiS1_S1_i",
        "_Z10parseParamPKcS0_RNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
        "_ZN9MemStreamC1EPht",
        "_ZN9MemStreamC2EPht",
        "_ZNK9MemStream9getBufferEv",
        "_ZNK9MemStream9getLengthEv",
        "_ZNK9MemStream9getUnreadEv",
        "_ZNK9MemStream7getRoomEv",
        "_ZNK9MemStream4failEv",
        "_ZN9MemStream5writeEPKht",
        "_ZN9MemStream4readEPht",
        "_ZN9MemStream4takeEt",
        "_ZN9MemStream7setFailEv",
        "_ZlsR9MemStreamh",
        "_ZrsR9MemStreamRh",
        "_ZN10MsgElementC1Ehb",
        "_ZN10MsgElementC2Ehb",
        "_ZN10MsgElementC1EhtPhb",
        "_ZN10MsgElementC2EhtPhb",
        "_ZN10MsgElementD1Ev",
        "_ZN10MsgElementD2Ev",
        "_ZN10MsgElement7setDataEPht",
        "_ZNK10MsgElement7getTypeEv",
        "_ZNK10MsgElement9getLengthEv",
        "_ZNK10MsgElement7getDataEv",
        "_ZN3MsgC1Eh",
        "_ZN3MsgC2Eh",
        "_ZN3MsgD0Ev",
        "_ZN3MsgD1Ev",
        "_ZN3MsgD2Ev",
        "_ZN3Msg5clearEv",
        "_ZNK3Msg7getSizeEv",
        "_ZNK3Msg11getCategoryEv",
        "_ZN3Msg11findElementEh",
        "_ZNK3Msg4dumpEPKc",
        "_ZN3Msg10addElementEP10MsgElement",
        "_ZTV3Msg",
        "_ZTI3Msg",
        "_ZTS3Msg",
        "_ZlsR9MemStreamRK3Msg",
        "_ZrsR9MemStreamR3Msg",
    };
    EXPECT_THAT(exportsOf(ZV_CONTROL_LIBRARY), testing::ContainerEq(expected));
}

TEST(SharedStateLibrary, ExportsItsInterfaceAndNothingElse) {
    EXPECT_THAT(exportsOf(ZV_STATE_LIBRARY), testing::ContainerEq(std::set<std::string>{"csi_get"}));
}

TEST(SharedControlLibrary, SlotsOfMsgStandInTheirOrder) {
    const Msg message(2);
    void* const* slots = slotsOf(message);
    const char* const names[] = {"_ZN3MsgD1Ev",
                                 "_ZN3MsgD0Ev",
                                 "_ZN3Msg5clearEv",
                                 "_ZNK3Msg7getSizeEv",
                                 "_ZNK3Msg11getCategoryEv",
                                 "_ZN3Msg11findElementEh",
                                 "_ZNK3Msg4dumpEPKc"};
    for (std::size_t i = 0; i < std::size(names); ++i) {
        ASSERT_NE(nullptr, named(names[i])) << names[i];
        EXPECT_EQ(named(names[i]), slots[i]) << names[i];
    }
}

TEST(SharedControlLibrary, AClassOfTheProgramReplacesTheDestructorsAlone) {
    {
        const Msg base(2);
        const OtherMsg derived;
        EXPECT_NE(slotsOf(base)[0], slotsOf(derived)[0]);
        EXPECT_NE(slotsOf(base)[1], slotsOf(derived)[1]);
        for (std::size_t i = 2; i < 7; ++i) {
            EXPECT_EQ(slotsOf(base)[i], slotsOf(derived)[i]) << i;
        }
    }
    EXPECT_EQ(1, OtherMsg::destroyed);
    const Msg* message = new OtherMsg;
    EXPECT_STREQ(typeid(OtherMsg).name(), typeid(*message).name());
    delete message;
    EXPECT_EQ(2, OtherMsg::destroyed);
}

TEST(SharedControlLibrary, DoesWithoutLoggingWhereTheProgramHasNone) {
    ASSERT_EQ(nullptr, named("g_logLevel"));
    ASSERT_EQ(nullptr, named("g_debug_level"));
    ASSERT_EQ(nullptr, named("zvUtilKlogMsgLevel"));
    const Msg message(2);
    message.dump("title");
    int value = 0;
    EXPECT_EQ(-1, csi_get(CSI_RECORDING, 4, nullptr, &value));
    EXPECT_EQ(-1, zvcontrol_uri_interface_open());
}
