// Scrolling over more pixels than a browser lets an element have: Firefox draws nothing of an element
// above 17,895,697 px, Chromium stops at 33,554,428. The element gets at most MOST_PIXELS. A small
// step of the scroll bar, from a wheel or a finger, is a step of as many pixels in the list; a jump,
// from dragging the bar, goes to the same share of the list. Small steps make the bar drift from its
// share, so it is put right when the scrolling rests or the bar meets an end. Near both ends a pixel
// of the bar is a pixel of the list, so that an end is reached as in any other list.

export const MOST_PIXELS = 8_000_000;
const PLAIN_PIXELS = 20_000;

export class ScaledScroll {
    top = 0; // in the list
    private bar = 0;
    private total = 0;
    private viewport = 0;

    constructor(private readonly most = MOST_PIXELS, private readonly plain = PLAIN_PIXELS) {}

    get height(): number {
        return Math.min(this.total, this.most);
    }

    private get listEnd(): number {
        return Math.max(0, this.total - this.viewport);
    }

    private get barEnd(): number {
        return Math.max(0, this.height - this.viewport);
    }

    setSize(total: number, viewport: number): void {
        this.total = total;
        this.viewport = viewport;
        this.top = Math.min(this.top, this.listEnd);
    }

    // The bar is now at `bar`. Returns where it has to be put at once, or null.
    barMoved(bar: number): number | null {
        if (this.total <= this.most) {
            this.top = this.bar = bar;
            return null;
        }
        const step = bar - this.bar;
        if (Math.abs(step) < 1) return null; // a position that the browser rounded
        this.bar = bar;
        if (Math.abs(step) > this.viewport) {
            this.top = this.topAt(bar);
            return null;
        }
        this.top = Math.max(0, Math.min(this.listEnd, this.top + step));
        return bar <= 0 || bar >= this.barEnd - 1 ? this.barAtRest() : null;
    }

    // The list is to be at `top`. Returns where the bar goes.
    moveTo(top: number): number {
        this.top = Math.max(0, Math.min(this.listEnd, top));
        return this.barAtRest();
    }

    barAtRest(): number {
        const { top, plain } = this;
        const left = this.listEnd - top;
        if (this.total <= this.most || top <= plain) this.bar = top;
        else if (left <= plain) this.bar = this.barEnd - left;
        else this.bar = plain + (top - plain) / this.middleScale();
        return this.bar;
    }

    private topAt(bar: number): number {
        const left = this.barEnd - bar;
        if (bar <= this.plain) return Math.max(0, bar);
        if (left <= this.plain) return this.listEnd - Math.max(0, left);
        return this.plain + (bar - this.plain) * this.middleScale();
    }

    private middleScale(): number {
        return (this.listEnd - 2 * this.plain) / (this.barEnd - 2 * this.plain);
    }
}
