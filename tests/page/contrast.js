// Every visible text whose contrast is too low, and every field whose border hardly shows, as lines of text. By the formulas of
// WCAG 2: 4.5 for text, 3 for large text and for the outlines of fields.
const canvas = document.createElement('canvas').getContext('2d', { willReadFrequently: true });

function rgba(colour) {
    canvas.clearRect(0, 0, 1, 1);
    canvas.fillStyle = colour;
    canvas.fillRect(0, 0, 1, 1);
    const [r, g, b, a] = canvas.getImageData(0, 0, 1, 1).data;
    return [r, g, b, a / 255];
}

const over = (top, below) => [0, 1, 2].map(at => top[at] * top[3] + below[at] * (1 - top[3])).concat(1);

function ground(node) {
    const layers = [];
    for (let one = node; one; one = one.parentElement)
        layers.push(rgba(getComputedStyle(one).backgroundColor));
    return layers.reverse().reduce((below, top) => over(top, below), [255, 255, 255, 1]);
}

function luminance(colour) {
    const [r, g, b] = colour.map(part => part / 255).map(part => part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4);
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
}

function contrast(one, other) {
    const [dark, light] = [luminance(one), luminance(other)].sort((a, b) => a - b);
    return (light + 0.05) / (dark + 0.05);
}

const isShown = node => node.checkVisibility({ opacityProperty: true, visibilityProperty: true }) && node.getClientRects().length > 0;
const found = [];
const name = node => `${node.tagName.toLowerCase()}.${node.getAttribute('class') ?? ''}`;

const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (texts.nextNode()) {
    const node = texts.currentNode.parentElement;
    const text = texts.currentNode.data.trim();
    if (!text || !isShown(node) || node.closest('option, script, style, title, noscript'))
        continue;
    const style = getComputedStyle(node);
    const isSvg = node instanceof SVGElement;
    // A rectangle of the same group is what SVG text stands on.
    const plate = isSvg && node.parentElement.querySelector(':scope > rect');
    const below = ground(isSvg ? node.closest('svg').parentElement : node);
    const stands = plate && node.closest('.mesh-node') ? over(rgba(getComputedStyle(plate).fill), below) : below;
    const value = contrast(over(rgba(isSvg ? style.fill : style.color), stands), stands);
    const size = parseFloat(style.fontSize);
    const isLarge = size >= 24 || size >= 18.66 && Number(style.fontWeight) >= 700;
    if (value < (isLarge ? 3 : 4.5))
        found.push(`${value.toFixed(2)} "${text.slice(0, 40)}" in ${name(node)}`);
}
for (const node of document.querySelectorAll('input:not([type=checkbox], [type=radio]), select, textarea')) {
    if (!isShown(node))
        continue;
    const value = contrast(over(rgba(getComputedStyle(node).borderTopColor), ground(node.parentElement)), ground(node.parentElement));
    if (value < 3)
        found.push(`${value.toFixed(2)} the outline of ${name(node)} ${node.id}`);
}
return found;
