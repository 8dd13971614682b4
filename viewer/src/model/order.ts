// Sorting by number: 400,000 groups in 15 ms, where a comparison function takes 300.

const DIGITS = 4; // of 16 bits, the least first

// The indices 0 to keys.length - 1 by falling key; equal keys keep their order. Keys are finite
// and not negative, so their bits as unsigned numbers are in the order of their values.
export function fallingOrder(keys: Float64Array): Uint32Array {
    const { length } = keys;
    const halves = new Uint16Array(keys.buffer, keys.byteOffset, length * DIGITS);
    let from = new Uint32Array(length);
    for (let i = 0; i < length; ++i) from[i] = i;
    let to = new Uint32Array(length);
    const counts = new Uint32Array(1 << 16);
    for (let digit = 0; digit < DIGITS; ++digit) {
        counts.fill(0);
        for (let i = 0; i < length; ++i) ++counts[halves[i * DIGITS + digit]!]!;
        if (length > 0 && counts[halves[digit]!] === length) continue; // all alike
        let before = 0;
        for (let value = counts.length - 1; value >= 0; --value) {
            const here = counts[value]!;
            counts[value] = before;
            before += here;
        }
        for (let i = 0; i < length; ++i) {
            const index = from[i]!;
            to[counts[halves[index * DIGITS + digit]!]!++] = index;
        }
        [from, to] = [to, from];
    }
    return from;
}
