// The orders in which groups are listed. Each is found once and kept: a filter only leaves some out.

import { Report } from "../report/report";
import { fallingOrder } from "./order";

export const GROUP_ORDERS = ["wasted", "count", "size", "path"] as const;
export type GroupOrder = (typeof GROUP_ORDERS)[number];

export class GroupOrders {
    private readonly kept = new Map<GroupOrder, Uint32Array>();

    constructor(private readonly report: Report) {}

    get(order: GroupOrder): Uint32Array {
        let groups = this.kept.get(order);
        if (groups === undefined) {
            groups = fallingOrder(this.keys(order));
            this.kept.set(order, groups);
        }
        return groups;
    }

    private keys(order: GroupOrder): Float64Array {
        const { groupCount, groupStart, groupSize } = this.report;
        const keys = new Float64Array(groupCount);
        for (let group = 0; group < groupCount; ++group) {
            const files = groupStart[group + 1]! - groupStart[group]!;
            const size = groupSize[group]!;
            // The report numbers groups in the order of their first paths.
            keys[group] = order === "wasted" ? (files - 1) * size : order === "count" ? files
                : order === "size" ? size : groupCount - group;
        }
        return keys;
    }
}
