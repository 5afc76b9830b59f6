"""Tests of exports.py: it must notice every kind of difference."""

import unittest

from exports import FUNCTIONS, INTERFACE, OBJECTS, differences, list_differences


def symbols(pointer_size=8):
    sizes = {name: count * (pointer_size if one == "pointer" else one) for name, (count, one) in OBJECTS.items()}
    return {**{name: ("T", 40) for name in FUNCTIONS}, **{name: ("D", size) for name, size in sizes.items()}}


class Differences(unittest.TestCase):
    def test_none(self):
        self.assertEqual([], differences(symbols(), 8))
        self.assertEqual([], differences(symbols(4), 4))

    def test_missing_name(self):
        table = symbols()
        del table["trim"]
        self.assertEqual(["trim: not exported"], differences(table, 8))

    def test_number_of_names(self):
        self.assertEqual((38, 7, 45), (len(FUNCTIONS), len(OBJECTS), len(INTERFACE)))

    def test_name_missing_from_the_list(self):
        self.assertEqual([], list_differences(sorted(INTERFACE)))
        for name in ("g_debug", "trim"):
            self.assertEqual([f"{name}: not in the list"], list_differences(sorted(INTERFACE - {name})))

    def test_name_missing_from_the_list_and_from_the_program(self):
        table = symbols()
        del table["hexline"]
        self.assertEqual(["hexline: not in the list"], list_differences(sorted(INTERFACE - {"hexline"})))
        self.assertEqual(["hexline: not exported"], differences(table, 8))

    def test_name_in_the_list_and_the_program_only(self):
        self.assertEqual(["more: in the list, but not in the interface"],
                         list_differences([*sorted(INTERFACE), "more"]))
        self.assertEqual(["more: exported (T), but not in the interface"],
                         differences({**symbols(), "more": ("T", 4)}, 8))

    def test_additional_function(self):
        for name in ["assertFailed", "_ZN2zv6reportEPKcz", "_ZNSomethingElse", "main"]:
            table = {**symbols(), name: ("T", 10)}
            self.assertEqual([f"{name}: exported (T), but not in the interface"], differences(table, 8))

    def test_weak_function_of_our_own(self):
        table = {**symbols(), "_ZN2zv4Text3putEPKcz": ("W", 10)}
        self.assertEqual(1, len(differences(table, 8)))

    def test_weak_instances_over_types_of_our_own(self):
        for name in [
            "_ZNSt6vectorIN2zv7ElementESaIS1_EE9push_backERKS1_",  # std::vector<zv::Element>
            "_ZNSt6vectorI11zvMbox_attrSaIS0_EE5beginEv",
            "_ZSt4sortIP7RequestEvT_S2_",
            "_ZNSt8functionIFvPN12_GLOBAL__N_15ThingEEEC1Ev",
            "_ZNSt10_HashtableI3OwnS0_SaIS0_EE4findERKS0_",
            "_ZTISt10unique_ptrI3OwnSt14default_deleteIS0_EE",
            "_ZZN9zvcontrol4mainEvENKUlvE_clEv",
            "_Znot_a_mangled_name",
        ]:
            table = {**symbols(), name: ("W", 10)}
            self.assertEqual([f"{name}: exported (W), but not in the interface"], differences(table, 8))

    def test_words_must_be_writable(self):
        table = {**symbols(), "g_debug": ("R", 4)}
        self.assertEqual(["g_debug: R is no writable object"], differences(table, 8))
        self.assertEqual([], differences({**symbols(), "g_debug": ("B", 4), "s_dmsghex": ("R", 112)}, 8))

    def test_strong_function_of_the_runtime(self):
        table = {**symbols(), "_ZNSt6vectorIiSaIiEE9push_backERKi": ("T", 10)}
        self.assertEqual(1, len(differences(table, 8)))

    def test_function_instead_of_object_and_the_reverse(self):
        self.assertEqual(["g_debug: T is no writable object"],
                         differences({**symbols(), "g_debug": ("T", 4)}, 8))
        self.assertEqual(["trim: D is no function"], differences({**symbols(), "trim": ("D", 4)}, 8))

    def test_weak_function(self):
        self.assertEqual(["trim: W is no function"], differences({**symbols(), "trim": ("W", 4)}, 8))

    def test_size_of_an_object(self):
        table = {**symbols(), "g_logLevel": ("D", 8)}
        self.assertEqual(["g_logLevel: 8 bytes, 4 expected"], differences(table, 8))
        self.assertEqual(2, len(differences(symbols(4), 8)))

    def test_twice_in_the_list(self):
        self.assertEqual(["the list names something twice"], list_differences([*sorted(INTERFACE), "trim"]))

    def test_additions_of_the_runtime(self):
        table = {
            **symbols(),
            "_ZNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE6appendEPKc": ("W", 10),
            "_ZNKSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE4sizeEv": ("W", 10),
            "_ZStplIcSt11char_traitsIcESaIcEENSt7__cxx1112basic_stringIT_T0_T1_EEPKS5_RKS8_": ("W", 10),
            "_ZNSt6vectorIiSaIiEE9push_backERKi": ("W", 10),
            "_ZNSt5arrayIhLm16EE4dataEv": ("W", 10),
            "_ZNSt6vectorIiSaIiEED2Ev": ("W", 10),
            "_ZN9__gnu_cxx13new_allocatorIcE8allocateEmPKv": ("W", 10),
            "_ZTISt9exception": ("V", 16),
            "_ZTVSt15basic_streambufIcSt11char_traitsIcEE": ("V", 128),
            "_ZSt4endlIcSt11char_traitsIcEERSt13basic_ostreamIT_T0_ES6_": ("W", 10),
            "_ZSt4cout@GLIBCXX_3.4": ("B", 272),
            "stdout@GLIBC_2.2.5": ("B", 8),
            "_ZTVN10__cxxabiv120__si_class_type_infoE@CXXABI_1.3": ("V", 88),
        }
        self.assertEqual([], differences(table, 8))


if __name__ == "__main__":
    unittest.main()
