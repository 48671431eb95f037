# GDB pretty-printers for the library's containers, strings and value types.
#
# Load them from a .gdbinit (see the README):
#     source /path/to/tools/gdb/qor_core_printers.py
# Sourcing the file registers the printers for every program; a script that imports it as a module calls
# register_printers( objfile ) instead. `info pretty-printer` lists them, `disable pretty-printer global
# qor_core;CQorArray` turns one off, and `print/r` shows a value's raw fields.
#
# The printers read the fields of the types as the headers lay them out; a change of a container's fields
# changes its printer here too (tests/gdb checks every printer).

import re

import gdb
import gdb.printing
import gdb.types

# CFixedPoint holds the number times this.
FIXED_POINT_SCALE = 100000
FIXED_POINT_DECIMALS = 5
# The probe distances of a Robin Hood entry.
EMPTY_DISTANCE = 0
SENTINEL_DISTANCE = 255


def template_name(value_type, shown_arguments):
    """The type's name without its namespace, with its first shown_arguments template arguments."""
    basic = gdb.types.get_basic_type(value_type)
    name = basic.tag or basic.name
    base = name.split('<', 1)[0]
    arguments = []
    for index in range(shown_arguments):
        try:
            argument = basic.template_argument(index)
        except (RuntimeError, gdb.error):
            break
        if isinstance(argument, gdb.Type):
            arguments.append(str(argument.strip_typedefs()))
        elif argument.type.strip_typedefs().code == gdb.TYPE_CODE_BOOL:
            arguments.append('true' if bool(argument) else 'false')
        else:
            arguments.append(str(int(argument)))
    return '%s<%s>' % (base.split('::')[-1], ', '.join(arguments))


def fixed_point_text(raw):
    """The fewest digits that give the raw value exactly, as the library writes it: "1", "-0.5", "0.00001"."""
    whole, fraction = divmod(abs(raw), FIXED_POINT_SCALE)
    text = ('-' if raw < 0 else '') + str(whole)
    if fraction:
        text += '.' + ('%0*d' % (FIXED_POINT_DECIMALS, fraction)).rstrip('0')
    return text


def string_at(pointer, length):
    """length characters from pointer, quoted by GDB like any string."""
    if length <= 0 or int(pointer) == 0:
        return ''
    return pointer.lazy_string(length=length)


class ArrayPrinter:
    """CQorArray: the elements in order, after the size and the capacity."""

    def __init__(self, value, name=None):
        self.value = value
        self.name = name or template_name(value.type, 1)

    def size(self):
        return int(self.value['_nSize'])

    def summary(self):
        return '%s of size %d, capacity %d' % (self.name, self.size(), int(self.value['_nCapacity']))

    def to_string(self):
        return self.summary()

    def children(self):
        data = self.value['_pData']
        for index in range(self.size()):
            yield '[%d]' % index, (data + index).dereference()

    def display_hint(self):
        return 'array'


class HybridArrayPrinter(ArrayPrinter):
    """CQorHybridArray: also tells whether the elements are in the inline storage or on the heap."""

    def __init__(self, value):
        super().__init__(value, template_name(value.type, 2))

    def summary(self):
        inline = self.value['_Allocator']['_Storage'].address
        where = 'inline' if int(self.value['_pData']) == int(inline) else 'on the heap'
        return '%s, %s' % (super().summary(), where)


class StaticArrayPrinter(ArrayPrinter):
    def __init__(self, value):
        super().__init__(value, template_name(value.type, 2))


class DoubleEndedArrayPrinter:
    """CQorDoubleEndedArray: the elements front to back, and where the spare room is."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        size = int(self.value['_Size'])
        capacity = int(self.value['_Capacity'])
        head = 0
        if int(self.value['_Buffer']) != 0:
            head = int(self.value['_Data'] - self.value['_Buffer'])
        return '%s of size %d, capacity %d, spare %d at the head and %d at the tail' % (
            template_name(self.value.type, 1), size, capacity, head, capacity - head - size)

    def children(self):
        data = self.value['_Data']
        for index in range(int(self.value['_Size'])):
            yield '[%d]' % index, (data + index).dereference()

    def display_hint(self):
        return 'array'


def table_items(table):
    """The items of a CQorRobinHoodTable in bucket order: its entries up to the sentinel, the live ones."""
    item_type = gdb.types.get_basic_type(table.type).template_argument(0)
    entry = table['_pEntries']
    # The buckets, the overflow tail and the sentinel: the walk never goes further, also on a broken table.
    entry_count = int(table['_nMask']) + 1 + int(table['_nMaxDistance']) + 1
    for _ in range(entry_count):
        distance = int(entry['_nDistance'])
        if distance == SENTINEL_DISTANCE:
            return
        if distance != EMPTY_DISTANCE:
            yield entry['_Value'].address.cast(item_type.pointer()).dereference()
        entry += 1


def is_map_entry(value_type):
    return (value_type.strip_typedefs().tag or '').startswith('NQorUnorderedMap::NDetail::SMapEntry<')


class TablePrinter:
    """The Robin Hood table and the unordered sets and maps over it: the items in bucket order. A map shows
    its keys and values."""

    def __init__(self, value, name, table=None):
        self.value = value
        self.name = name
        self.table = value if table is None else table
        self.is_map = is_map_entry(gdb.types.get_basic_type(self.table.type).template_argument(0))

    def to_string(self):
        size = int(self.table['_nSize'])
        # An unused table points at the shared empty array: no buckets of its own.
        mask = int(self.table['_nMask'])
        if mask == 0:
            return '%s of size %d' % (self.name, size)
        return '%s of size %d, %d buckets' % (self.name, size, mask + 1)

    def children(self):
        for index, item in enumerate(table_items(self.table)):
            if self.is_map:
                yield '[%d]' % (2 * index), item['Key']
                yield '[%d]' % (2 * index + 1), item['Value']
            else:
                yield '[%d]' % index, item

    def display_hint(self):
        return 'map' if self.is_map else 'array'


def robin_hood_table_printer(value):
    item_type = gdb.types.get_basic_type(value.type).template_argument(0)
    if is_map_entry(item_type):
        name = 'CQorRobinHoodTable<%s, %s>' % (item_type.template_argument(0), item_type.template_argument(1))
    else:
        name = 'CQorRobinHoodTable<%s>' % item_type.strip_typedefs()
    return TablePrinter(value, name)


def set_printer(value):
    shown = 2 if 'Hybrid' in gdb.types.get_basic_type(value.type).tag.split('<', 1)[0] else 1
    return TablePrinter(value, template_name(value.type, shown), value['_Table'])


def map_printer(value):
    shown = 3 if 'Hybrid' in gdb.types.get_basic_type(value.type).tag.split('<', 1)[0] else 2
    return TablePrinter(value, template_name(value.type, shown), value['_Table'])


class StringPrinter:
    """CString: its text. The std::string inside is read by its fields, so that no other printer is needed."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        text = self.value['_str']
        try:
            return string_at(text['_M_dataplus']['_M_p'], int(text['_M_string_length']))
        except gdb.error:
            return text

    def display_hint(self):
        return 'string'


class StringViewPrinter(StringPrinter):
    """CQorStringView: the characters it spans, which need not end with a null."""

    def to_string(self):
        return string_at(self.value['_String'], int(self.value['_Size']))


class FixedPointPrinter:
    """CFixedPoint: its decimal text."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return fixed_point_text(int(self.value['_Value']))


class OptionalPrinter:
    def __init__(self, value):
        self.value = value
        self.storage = value['_Value']
        self.name = template_name(value.type, 1)

    def to_string(self):
        return self.name if bool(self.storage['_IsSet']) else self.name + ' unset'

    def children(self):
        if bool(self.storage['_IsSet']):
            value_type = gdb.types.get_basic_type(self.value.type).template_argument(0)
            yield '[value]', self.storage['_Storage'].address.cast(value_type.pointer()).dereference()


class PtrPrinter:
    """CQorPtr: the object's reference count and address."""

    def __init__(self, value):
        self.value = value
        self.name = template_name(value.type, 1)

    def to_string(self):
        pointer = self.value['_pPtr']
        if int(pointer) == 0:
            return self.name + ' null'
        count = pointer.dereference()['_nRefCount']
        try:
            count = count['_M_i']
        except gdb.error:
            pass
        return '%s (refcount %d)' % (self.name, int(count))

    def children(self):
        if int(self.value['_pPtr']) != 0:
            yield 'get()', self.value['_pPtr']


class AnyPrinter:
    """CQorAny: the name of the type it holds, and the value. The type is that of the type table _pType points
    at, whose dynamic type is SAnyTypeInPlace<T, N> or SAnyTypeAllocated<T, N> (or their copyable forms)."""

    TABLE_NAME = re.compile(r'vtable for QorAnyImpl::(\w+)<(.*), -?\d+>')

    def __init__(self, value):
        self.value = value
        # The copyable form, the default, shows its size only.
        self.name = template_name(value.type, 2).replace(', true>', '>')
        self.held_type, self.in_place = self.held()

    def held(self):
        table = self.value['_pType']
        try:
            dynamic = table.dereference().dynamic_type.strip_typedefs()
            return dynamic.template_argument(0), 'InPlace' in dynamic.tag
        except (gdb.error, RuntimeError, TypeError, AttributeError):
            pass
        # Without debug information for the table, its vtable's symbol still tells the type.
        match = self.TABLE_NAME.search(str(table.dereference()['_vptr.SAnyType']))
        if not match:
            return None, True
        try:
            return gdb.lookup_type(match.group(2)), 'InPlace' in match.group(1)
        except gdb.error:
            return match.group(2), 'InPlace' in match.group(1)

    def is_empty(self):
        return str(self.held_type) == 'QorAnyImpl::SQorAnyEmpty'

    def to_string(self):
        if self.held_type is None:
            return self.name + ' of an unknown type'
        if self.is_empty():
            return self.name + ' empty'
        return '%s holding %s' % (self.name, self.held_type)

    def children(self):
        if not isinstance(self.held_type, gdb.Type) or self.is_empty():
            return
        storage = self.value['_Storage'].address
        pointer_type = self.held_type.pointer()
        if self.in_place:
            yield '[value]', storage.cast(pointer_type).dereference()
        else:
            yield '[value]', storage.cast(pointer_type.pointer()).dereference().dereference()


def build_printer():
    printer = gdb.printing.RegexpCollectionPrettyPrinter('qor_core')
    printer.add_printer('CQorArray', '^CQorArray<', ArrayPrinter)
    printer.add_printer('CQorHybridArray', '^CQorHybridArray<', HybridArrayPrinter)
    printer.add_printer('CQorStaticArray', '^CQorStaticArray<', StaticArrayPrinter)
    printer.add_printer('CQorDoubleEndedArray', '^CQorDoubleEndedArray<', DoubleEndedArrayPrinter)
    printer.add_printer('CQorRobinHoodTable', '^CQorRobinHoodTable<', robin_hood_table_printer)
    printer.add_printer('CQorHybridRobinHoodTable', '^CQorHybridRobinHoodTable<', robin_hood_table_printer)
    printer.add_printer('CQorUnorderedSet', '^NQorUnorderedSet::CQor(Hybrid)?UnorderedSet<', set_printer)
    printer.add_printer('CQorUnorderedMap', '^NQorUnorderedMap::CQor(Hybrid)?UnorderedMap<', map_printer)
    printer.add_printer('CString', '^CString$', StringPrinter)
    printer.add_printer('CQorStringView', '^CQorStringView$', StringViewPrinter)
    printer.add_printer('CFixedPoint', '^CFixedPoint$', FixedPointPrinter)
    printer.add_printer('CQorOptional', '^CQorOptional<', OptionalPrinter)
    printer.add_printer('CQorPtr', '^CQorPtr<', PtrPrinter)
    printer.add_printer('CQorAny', '^CQorAny<', AnyPrinter)
    return printer


def register_printers(objfile=None):
    """Registers the printers for objfile, or for every program when it is None."""
    gdb.printing.register_pretty_printer(objfile, build_printer(), replace=True)


if __name__ == '__main__':
    register_printers(None)
