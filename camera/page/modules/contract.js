// The contract of the control URL space, as the camera serves it: what may be asked, and what may be answered.
import {ask} from "./control.js";

const METHODS = ["get", "post", "put", "patch", "delete"];

// What a part of the document stands for: a reference is followed, and what stands beside it goes before.
export function resolved(document, part) {
  if (!part?.$ref) {
    return part;
  }
  const {$ref, ...beside} = part;
  const found = $ref.slice(2).split("/").reduce(
    (inner, name) => inner?.[name.replaceAll("~1", "/").replaceAll("~0", "~")], document);
  return {...resolved(document, found), ...beside};
}

function valuesOf(schema, parameter) {
  const told = [...Object.values(parameter.examples ?? {}).map((each) => each.value), parameter.example,
                ...schema.enum ?? [], ...schema.examples ?? [], schema.default];
  return [...new Set(told.filter((each) => each !== undefined && each !== null).map(String))];
}

function parameterOf(document, given) {
  const parameter = resolved(document, given);
  const schema = resolved(document, parameter.schema) ?? {};
  return {name: parameter.name, required: parameter.required === true, values: valuesOf(schema, parameter),
          help: parameter.description ?? schema.description ?? ""};
}

// The operations of a contract, in its order: {method, path, title, help, parameters, statuses}.
export function operationsOf(document) {
  return Object.entries(document.paths).flatMap(([path, item]) => METHODS.filter((each) => item[each]).map((method) => {
    const operation = item[method];
    const parameters = [...item.parameters ?? [], ...operation.parameters ?? []]
      .map((each) => parameterOf(document, each)).filter((each) => each.name);
    return {method: method.toUpperCase(), path, title: operation.summary ?? path, help: operation.description ?? "",
            changes: operation["x-changes"], parameters, statuses: Object.keys(operation.responses ?? {})};
  }));
}

export async function contract() {
  return operationsOf(await ask("GET", "/openapi.json"));
}
