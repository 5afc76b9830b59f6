// What the camera can be told to do, as it lists that itself.
import {ask} from "./control.js";

let listing = null;

async function all() {
  listing ??= ask("GET", "/simulator").then((document) => document.operations);
  try {
    return await listing;
  } catch (failure) {
    listing = null;
    throw failure;
  }
}

// The description of an operation's parameter: choices, rows, range.
export async function parameterOf(operation, name) {
  const found = (await all()).find((each) => each.name === operation);
  return found.parameters.find((each) => each.name === name);
}
