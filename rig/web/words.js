// The unit's own names in plain words.

const STATUS = {
  OK: "All is well",
  ERROR: "The request was not understood",
  TARGET_FULL: "The iPod refused it",
  LOCAL_STORAGE_FULL: "The unit holds no more",
  STORED_LOCAL: "Waits in the unit",
  STORED_ON_TARGET: "On the iPod",
  TRANSFER_SUCCEEDED: "Handed over",
  TRANSFER_FAILED: "The transfer failed",
  STOREDLOCAL_IPOD_INCOMPATIBLE: "The iPod takes no tags; they wait",
  LOCALFULL_IPOD_INCOMPATIBLE: "The iPod takes no tags, and the unit is full",
};

/** The reply of a request or a status, as a sentence with its name. */
export function statusText(status) {
  if (typeof status === "string") {
    return status;
  }
  if (!status?.Name) {
    return status?.message ?? JSON.stringify(status);
  }
  const words = status.Message ?? STATUS[status.Name];
  return words ? `${words} (${status.Name})` : `${status.Name} ${status.Value ?? ""}`.trim();
}

/** Whether a status tells that a tag was not taken. */
export const isBad = (status) => /ERROR|FULL|FAILED|INCOMPATIBLE/.test(status?.Name ?? "");

/** A list of tags by their titles. */
export function titles(tags) {
  const names = (tags ?? []).map((tag) => `“${tag?.Name ?? "a song without title"}”`);
  return names.length > 2 ? `${names.length} songs` : names.join(" or ");
}
