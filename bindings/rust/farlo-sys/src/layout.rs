//! Compares the layout of a record with what `farlo.json` says.

/// Checks the size of a record.
pub fn size<Record>(expected: usize) {
    assert_eq!(
        std::mem::size_of::<Record>(),
        expected,
        "{}",
        std::any::type_name::<Record>()
    );
}

/// The size of what a pointer points to.
pub fn pointee_size<T>(_: *const T) -> usize {
    std::mem::size_of::<T>()
}

/// Checks the offset and the size of a field.
macro_rules! field {
    ($record:ident, $field:ident, $offset:expr, $size:expr) => {{
        let record = <$record>::default();
        let address = std::ptr::addr_of!(record.$field);
        let offset = address as usize - std::ptr::addr_of!(record) as usize;
        let name = concat!(stringify!($record), ".", stringify!($field));
        assert_eq!(offset, $offset, "{name}");
        assert_eq!(pointee_size(address), $size, "{name}");
    }};
}
pub(crate) use field;
