import importlib.machinery
import importlib.util
import os
import unittest

_PATH = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "mca_matrix")
_LOADER = importlib.machinery.SourceFileLoader("mca_matrix", _PATH)
_SPEC = importlib.util.spec_from_loader("mca_matrix", _LOADER)
mca = importlib.util.module_from_spec(_SPEC)
_LOADER.exec_module(mca)

# The shape of a benchmark body as objdump prints it: a backward branch to the exit path (which calls out), the
# timed loop, and inside it a counted inner loop of four trips and a forward branch out of it.
LISTING = """
0000000000001000 <(anonymous namespace)::Product(benchmark::State&)>:
    1000:\tpush   %rbx
    1004:\tcall   2000 <benchmark::State::StartKeepRunning()@plt>
    1008:\tjmp    2010 <benchmark::State::FinishKeepRunning()@plt>
    100c:\ttest   %rbx,%rbx
    1010:\tje     1004 <(anonymous namespace)::Product(benchmark::State&)+0x4>
    1014:\tnopw   0x0(%rax,%rax,1)
    1018:\tmovaps 0x1a8de9(%rip),%xmm6        # 2043b0 <s_Matrix+0x30>
    101c:\txor    %eax,%eax
    1020:\tmovaps (%rsi,%rax,1),%xmm0
    1024:\tmulps  %xmm6,%xmm0
    1028:\tadd    $0x10,%rax
    102c:\tcmp    $0x40,%rax
    1030:\tjne    1020 <(anonymous namespace)::Product(benchmark::State&)+0x20>
    1034:\tjle    1048 <(anonymous namespace)::Product(benchmark::State&)+0x48>
    1038:\tsub    $0x1,%rdx
    103c:\tjne    1018 <(anonymous namespace)::Product(benchmark::State&)+0x18>
    1040:\tret
    1048:\tcall   3000 <__assert_fail@plt>

0000000000001050 <other>:
    1050:\tret
"""

INNER = ["movaps (%rsi,%rax,1),%xmm0", "mulps  %xmm6,%xmm0", "add    $0x10,%rax", "cmp    $0x40,%rax",
         "jne .Lpass"]


class TestOnePass(unittest.TestCase):
    def test_the_timed_loop_with_its_inner_loop_repeated_its_trip_count(self):
        instructions = mca.parse_body(LISTING, "Product")
        self.assertEqual(len(instructions), 18)
        self.assertEqual(mca.one_pass(instructions),
                         [".Lpass:", "movaps 0x1a8de9(%rip),%xmm6", "xor    %eax,%eax"] + INNER * 4 +
                         ["jle .Lpass", "sub    $0x1,%rdx", "jne .Lpass"])

    def test_an_inner_loop_without_a_counter_it_can_read_is_refused(self):
        listing = LISTING.replace("xor    %eax,%eax", "mov    %rdx,%rax")
        with self.assertRaises(SystemExit):
            mca.one_pass(mca.parse_body(listing, "Product"))

    def test_a_missing_body_is_refused(self):
        with self.assertRaises(SystemExit):
            mca.parse_body(LISTING, "Absent")


if __name__ == "__main__":
    unittest.main()
