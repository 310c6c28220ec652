// Times in ms, and how they are told.
const sorted = (values) => [...values].sort((one, other) => one - other);
export const median = (values) => sorted(values)[Math.floor(values.length / 2)];
export const worst = (values) => Math.max(...values);
export const show = (ms) => ms.toFixed(1).padStart(7);
